#pragma once

#include <cstdint>

#include "core/table.h"

struct ubus_object;

// The IP filter blocks or admits traffic between LAN and WAN addresses and ports. Its attributes
// say whether filtering is on and, per direction, whether the rules are a black list or a white
// list.
//
// After every change but a rule's replacement the platform's chains are flushed and set up anew
// from the tables, so that they always equal what is stored. An empty white list admits everything.
//
// Operations return 0, IGD_CM_OPERATE_FAIL, IGD_CM_OPERATE_FULL or IGD_CM_GLOBAL_INPUT_PARA_ERROR.

/// The attributes, one row at position 0. Only one enable flag is stored: after a restart it
/// governs both directions.
struct IgdSecurIpFilterAttrTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        UpEnable = 1u << 0,
        UpListType = 1u << 1,
        DirFlag = 1u << 2,
        DownEnable = 1u << 3,
        DownListType = 1u << 4,
        Stored = UpEnable | UpListType | DownEnable | DownListType,
    };

    uint32_t ulReserved;  ///< 0
    uint8_t ucUpFilterEnable;
    uint8_t ucUpListType;
    uint8_t ucDirFlag;  ///< accepted from requests, without effect
    uint8_t ucDownFilterEnable;
    uint8_t ucDownListType;
    uint8_t aucReserved[3];  ///< 0
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSecurIpFilterAttrTab) == 16);

/// A rule. LAN is always the source side and WAN the destination, whatever the direction. An empty
/// address, or one that begins with a blank, is any; the others are IPv4 or IPv6 text.
struct IgdSecurIpFilterListTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Protocol = 1u << 0,
        LanIpStart = 1u << 1,
        LanIpEnd = 1u << 2,
        WanIpStart = 1u << 3,
        WanIpEnd = 1u << 4,
        LanPortStart = 1u << 5,
        LanPortEnd = 1u << 6,
        WanPortStart = 1u << 7,
        WanPortEnd = 1u << 8,
        Direction = 1u << 9,
        All = (1u << 10) - 1,
    };

    uint8_t ucIndex;             ///< 1 to 255, given by the add
    uint8_t ucIPFilterDir;       ///< 0 downstream, 1 upstream
    uint8_t ucIPFilterProtocol;  ///< the platform's number; 0 and 4 have no ports
    char aucLanIPStart[40];
    char aucLanIPEnd[40];
    char aucWanIPStart[40];
    char aucWanIPEnd[40];
    uint8_t aucReserved[1];  ///< 0
    uint32_t ulLanPortStart;
    uint32_t ulLanPortEnd;
    uint32_t ulWanPortStart;
    uint32_t ulWanPortEnd;
    uint32_t ulBitmap;
};

inline constexpr uint32_t IGD_SECUR_IP_FILTER_ATTR_TAB = 497;
inline constexpr uint32_t IGD_SECUR_IP_FILTER_LIST_TAB = 498;

/// Changes the selected attributes: platform first, then the stored row, then everything anew.
/// A value above 1 is IGD_CM_GLOBAL_INPUT_PARA_ERROR; a platform that refuses leaves all as it was.
int32_t igdCmSecureIPFilterAttrSet(IgdSecurIpFilterAttrTab* request, uint32_t size);

/// Appends a rule, whose new index is written back into `request`. The platform gets it first; if
/// it refuses, nothing is stored and IGD_CM_OPERATE_FAIL returned. IGD_CM_GLOBAL_INPUT_PARA_ERROR
/// when an address is none, IGD_CM_OPERATE_FULL when there are 100 rules.
int32_t igdCmSecureIPFilterListAdd(IgdSecurIpFilterListTab* request, uint32_t size);

/// Deletes the rule with the request's index (up to 100). A larger index or an unknown one is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR; if the platform refuses, the rule stays: IGD_CM_OPERATE_FAIL.
int32_t igdCmSecureIPFilterListDel(IgdSecurIpFilterListTab* request, uint32_t size);

/// Replaces the rule with the request's index (up to 99, IGD_CM_OPERATE_FULL above) by the request.
/// The new rule is in force before the old one goes; if the platform refuses it, or the row cannot
/// be written, the old one stays stored: IGD_CM_OPERATE_FAIL, as for an unknown index.
int32_t igdCmSecureIPFilterListSet(IgdSecurIpFilterListTab* request, uint32_t size);

/// Hands every stored rule to the platform; always 0.
int32_t igdCmSecureIPFilterListInit();

/// Sets up the platform's chains from the tables: flush, attributes, rules, and a flush of each
/// direction whose white list is empty. With filtering off the chains are left empty.
/// IGD_CM_OPERATE_FAIL if the platform refuses the flush of both or the attributes; a rule it
/// refuses is left out.
int32_t igdCmSecureIPFilterAllInit();

/// True when the list of `direction` (1 upstream, any other downstream) is a white list.
bool check_white_list_mode(uint32_t direction);

namespace appcfg {

extern const TableOf<IgdSecurIpFilterAttrTab> ip_filter_attr_table;
extern const TableOf<IgdSecurIpFilterListTab> ip_filter_list_table;

/// Enters the two tables into the registry.
int32_t register_ip_filter_tables();

/// Sets the platform's service up anew and replays the filter into it.
void ip_filter_restart();

/// What the bus requests imply: one switch for both directions, and all ports for protocols that
/// have none (0 and 4).
void enable_both_directions(IgdSecurIpFilterAttrTab& request);
void widen_ports_without_protocol(IgdSecurIpFilterListTab& request);

/// The bus object `app_ipfilter`.
ubus_object* ip_filter_bus_object();

}  // namespace appcfg
