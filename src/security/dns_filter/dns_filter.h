#pragma once

#include <cstdint>

#include "core/outcome.h"
#include "core/table.h"

struct ubus_object;

// The DNS filter refuses to resolve the domains on a list. Rules say for whom, when and how; rows
// of rules come with the package and are only switched on and off. Rule 1 carries the list of
// domains that front ends edit.
//
// Of a rule only its index and whether it is on are stored. All else reaches the platform with the
// change that brings it and is gone after a restart.
//
// Operations return 0, IGD_CM_OPERATE_FAIL, IGD_CM_OPERATE_FULL, IGD_CM_GLOBAL_INPUT_PARA_ERROR or
// one of the two codes below. Texts in records end with a NUL.

struct IgdDnsFilterConfigTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Enable = 1u << 0,
        Mac = 1u << 1,
        Domain = 1u << 2,
        Action = 1u << 3,
        Name = 1u << 4,
        Mode = 1u << 5,
        HostList = 1u << 6,
        Weekdays = 1u << 7,
        Time = 1u << 8,
        /// Of a row that is read, by agreement.
        Stored = Enable | Mac,
    };

    uint8_t ucIndex;
    uint8_t ucEnable;  ///< 1: on
    uint8_t ucAction;  ///< 0 to 2, the platform's own numbering
    uint8_t ucMode;    ///< 0 or 1, the same
    char aucName[64];
    char aucMACAddress[24];    ///< of the client; no two rules have the same
    char aucDomain[256];       ///< the one domain on the rule's host list, or
    char aucHostListName[64];  ///< a file to become its host list
    char aucWeekdays[32];      ///< when the rule applies, as the platform writes it
    char aucTime[64];
    uint8_t aucReserved[8];  ///< 0; fills the record to its agreed 520 bytes
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdDnsFilterConfigTab) == 520);

/// A domain on the list.
struct IgdSecurDnsFilterListTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t { Domain = 1u << 0, All = 65535 };

    uint32_t ulIndex;  ///< 1 upwards
    char aucFilterDomain[256];
    uint32_t ulBitmap;
};

inline constexpr uint32_t IGD_DNS_FILTER_CONFIG_TAB = 693;
inline constexpr uint32_t IGD_SECUR_DNS_FILTER_LIST_TAB = 800;

/// Switches the rule with the request's index on: platform first, then its host list is emptied,
/// then the request's enable flag is stored. IGD_CM_OPERATE_FULL when there are exactly 100 rules,
/// kDnsRuleNotFound when none has the index.
int32_t igdCmDnsFilterConfigAdd(IgdDnsFilterConfigTab* request, uint32_t size);

/// Switches the rule with the request's index off, platform first. Its row and host list stay.
int32_t igdCmDnsFilterConfigDel(IgdDnsFilterConfigTab* request, uint32_t size);

/// Changes the selected members of a rule: host list, platform, stored row. kDnsRuleMacTaken when
/// another row has the request's MAC address, selected or not; as no row keeps its address, that is
/// so whenever there is another row and the request's is empty. A host-list file can only be taken
/// over by a rule that has been switched on once.
int32_t igdCmDnsFilterConfigSet(IgdDnsFilterConfigTab* request, uint32_t size);

/// Fills the request from the stored row with its index and asks the platform for the rule, of
/// whose answer only success counts.
int32_t igdCmDnsFilterConfigGet(IgdDnsFilterConfigTab* request, uint32_t size);

/// Hands every rule to the platform; always 0.
int32_t igdCmDnsFilterConfigInit();

/// Appends a domain under a new index and reloads. IGD_CM_OPERATE_FULL when there are 100,
/// IGD_CM_OPERATE_FAIL when the very same text is on the list, IGD_CM_GLOBAL_INPUT_PARA_ERROR when
/// it holds a line end, which would make several domains of it.
int32_t igdCmSecureDnsFilterListAdd(IgdSecurDnsFilterListTab* request, uint32_t size);

/// Deletes the domain with the request's index and reloads. An index that is above 100 or unknown
/// is IGD_CM_GLOBAL_INPUT_PARA_ERROR.
int32_t igdCmSecureDnsFilterListDel(IgdSecurDnsFilterListTab* request, uint32_t size);

/// Deletes all domains and reloads; 0, and nothing else, when there are none.
int32_t igdCmSecureDnsFilterListDelAll();

/// Looks a domain up and rewrites its row, whose stored columns never change; so this changes
/// nothing, but tells whether it could have. An index above 100 is IGD_CM_GLOBAL_INPUT_PARA_ERROR,
/// an unknown one IGD_CM_OPERATE_FAIL.
int32_t igdCmSecureDnsFilterListSet(IgdSecurDnsFilterListTab* request, uint32_t size);

/// Writes the domains to the host-list file and, while a rule is on, makes it the host list of rule
/// 1; otherwise the file is removed. IGD_CM_OPERATE_FAIL when either fails; the stored list stays.
int32_t igdCmSecureDnsFilterListReload();

/// The same for a start: does nothing when there are no domains, and leaves rule 1 alone when none
/// was written.
int32_t igdCmSecureDnsFilterListInit();

namespace appcfg {

/// The client's MAC address belongs to another rule.
inline constexpr int32_t kDnsRuleMacTaken = -3;
/// No rule has the index.
inline constexpr int32_t kDnsRuleNotFound = -4;

/// The rule that carries the list of domains.
inline constexpr uint8_t kDnsListRule = 1;

extern const TableOf<IgdDnsFilterConfigTab> dns_filter_config_table;
extern const TableOf<IgdSecurDnsFilterListTab> dns_filter_list_table;

/// Enters the two tables into the registry.
int32_t register_dns_filter_tables();

/// Replays rules and domains. The platform's service is not set up anew, unlike other filters': it
/// keeps what a rule has learned from a request and no row has stored.
void dns_filter_replay();

/// Switches the list's rule on or off as a front end asks for it. Each switch empties the list:
/// front ends give their domains anew after switching on. A wish that is already true, or is
/// neither, changes nothing.
Outcome switch_dns_filter(IgdDnsFilterConfigTab& wanted);

/// The bus object `app_dnsfilter`.
ubus_object* dns_filter_bus_object();

}  // namespace appcfg
