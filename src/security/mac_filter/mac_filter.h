#pragma once

#include <cstdint>

#include "base/export.h"
#include "core/outcome.h"
#include "core/table.h"
#include "security/mac_filter/mac_filter_mac.h"

struct ubus_object;

// The MAC filter blocks (black list) or admits (white list) LAN hosts by MAC address.
//
// The stored rules are the reference: they are written first and handed to the platform afterwards,
// and what the platform says to an item is not looked at. Only the filter's mode must be accepted
// before it is stored.
//
// Operations return 0, IGD_CM_OPERATE_FAIL, IGD_CM_OPERATE_FULL or IGD_CM_GLOBAL_INPUT_PARA_ERROR.

/// The attributes, one row at position 0.
struct IgdSecMacFiltAttr {
    /// Bits of `ulBitmap`.
    enum : uint32_t { Enable = 1u << 0, Mode = 1u << 1, All = Enable | Mode };

    /// kMacFilterForced: the mode is pushed even if nothing has changed; 0 otherwise.
    uint32_t ulForce;
    uint8_t ucMacFilterEnable;  ///< 0 off, 1 on
    uint8_t ucFilterMode;       ///< 0 black list, 1 white list
    uint8_t aucReserved[2];     ///< 0
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSecMacFiltAttr) == 12);

/// A rule. Only enabled rules are in force. Destination and port bindings are the platform's
/// business, live in the record alone and are not stored.
struct IgdSecMacFiltList {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Host = 1u << 0,
        Destination = 1u << 1,
        HostPort = 1u << 2,
        DestinationPort = 1u << 3,
        Enable = 1u << 5,
        Stored = Host | Enable,
        Settable = Host | Destination | HostPort | DestinationPort | Enable,
        All = (1u << 6) - 1,
    };

    uint32_t ulReserved;  ///< 0
    uint32_t ulEnable;
    uint32_t ulIndex;                   ///< from 1
    appcfg::MacAddress macAddress;      ///< the host; all zero: none
    appcfg::MacAddress destMacAddress;  ///< all zero: none
    uint32_t ulMACPortBind;             ///< of `macAddress`; 0: none
    uint32_t ulDestMACPortBind;         ///< of `destMacAddress`; 0: none
    uint32_t ulReserved2;               ///< 0
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSecMacFiltList) == 40);

inline constexpr uint32_t IGD_SECUR_MAC_FILTER_ATTR_TAB = 495;
inline constexpr uint32_t IGD_SECUR_MAC_FILTER_LIST_TAB = 496;

/// Changes the selected attributes: platform first, then the stored row. A change disables every
/// stored rule, without a word to the platform about its items. A value above 1 is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR; a platform that refuses leaves the tables as they were:
/// IGD_CM_OPERATE_FAIL, as for a row that cannot be read.
int32_t igdCmSecureMacFilterAttrSet(IgdSecMacFiltAttr* request, uint32_t size);

/// Appends a rule, whose new index is written back into `request`, then hands it to the platform.
/// IGD_CM_OPERATE_FULL when there are 100 rules, IGD_CM_OPERATE_FAIL when the row cannot be stored.
/// The same address may stand on several rules.
int32_t igdCmSecureMacFilterListAdd(IgdSecMacFiltList* request, uint32_t size);

/// Deletes the rule with the request's index or, if that is 0, the first with the request's host or
/// destination; then takes it from the platform. 0 also when there is no such rule,
/// IGD_CM_OPERATE_FAIL when it cannot be deleted.
int32_t igdCmSecureMacFilterListDel(IgdSecMacFiltList* request, uint32_t size);

/// Changes what the request selects of the rule with its index, item by item in the platform, and
/// stores the rule. Index 0 is IGD_CM_GLOBAL_INPUT_PARA_ERROR; an unknown one, or a row that cannot
/// be written, IGD_CM_OPERATE_FAIL.
int32_t igdCmSecureMacFilterListSet(IgdSecMacFiltList* request, uint32_t size);

extern "C" {
// Queries for other programs of the gateway, by their plain names.

/// Copies the attributes out; IGD_CM_OPERATE_FAIL if they cannot be read.
APPCFGD_EXPORT int32_t igdCmSecureMacFilterAttrGet(IgdSecMacFiltAttr* attr, uint32_t size);

/// Copies out the rule that `igdCmSecureMacFilterListDel` would delete; IGD_CM_OPERATE_FAIL if
/// there is none.
APPCFGD_EXPORT int32_t igdCmSecureMacFilterListGet(IgdSecMacFiltList* rule, uint32_t size);

/// Counts the rules.
APPCFGD_EXPORT int32_t igdCmSecureMacFilterListEntryNumGet(uint32_t* count, uint32_t size);

/// Writes the indexes of all rules, in table order, into `indexes`, which is `size` bytes long;
/// IGD_CM_OPERATE_FAIL if it is too short for them.
APPCFGD_EXPORT int32_t igdCmSecureMacFilterListGetallIndex(uint32_t* indexes, uint32_t size);
}

/// Hands the stored mode to the platform; IGD_CM_OPERATE_FAIL if that fails.
int32_t igdCmSecureMacFilterAttrInit();

/// Hands the stored rules to the platform, if the filter is on; IGD_CM_OPERATE_FAIL if that cannot
/// be told.
int32_t igdCmSecureMacFilterListInit();

/// Replays mode and rules; always 0.
int32_t igdCmMacFilterModuleInit();

namespace appcfg {

/// Of `ulForce`.
inline constexpr uint32_t kMacFilterForced = 0xffffffff;

/// Requests name rules by indexes up to this.
inline constexpr uint32_t kLargestMacFilterIndex = 100;

extern const TableOf<IgdSecMacFiltAttr> mac_filter_attr_table;
extern const TableOf<IgdSecMacFiltList> mac_filter_list_table;

/// Enters the two tables into the registry.
int32_t register_mac_filter_tables();

/// Sets the platform's service up anew and replays the filter into it.
void mac_filter_restart();

/// Sets the attributes as a front end asks for it. A list is made for one mode: it survives only
/// while the filter is on and stays what it was, otherwise all rules go.
Outcome set_mac_filter(IgdSecMacFiltAttr& request);

/// Deletes all rules that a request could name, the rows in one change and then the platform's
/// items. False, with nothing changed, if the rows cannot be deleted.
bool delete_mac_rules();

/// The text by which front ends know that a rule was not deleted.
inline constexpr const char* kMacListDelFailure = "igdCmSecureMacFilterListDel error";

/// The bus object `app_macfilter`.
ubus_object* mac_filter_bus_object();

}  // namespace appcfg
