#pragma once

#include <cstdint>

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
    /// kMacFilterForced: the mode is pushed even if nothing has changed; 0 otherwise.
    uint32_t ulForce;
    uint8_t ucMacFilterEnable;  ///< 0 off, 1 on
    uint8_t ucFilterMode;       ///< 0 black list, 1 white list
    uint8_t aucReserved[2];     ///< 0
    uint32_t ulBitmap;          ///< 1 enable, 2 mode
};
static_assert(sizeof(IgdSecMacFiltAttr) == 12);

inline constexpr uint32_t kMacFilterForced = 0xffffffff;

/// A rule. Only enabled rules are in force. Destination and port bindings are the platform's
/// business, live in the record alone and are not stored.
struct IgdSecMacFiltList {
    uint32_t ulReserved;  ///< 0
    uint32_t ulEnable;
    uint32_t ulIndex;            ///< from 1
    MacAddress macAddress;       ///< the host; all zero: none
    MacAddress destMacAddress;   ///< all zero: none
    uint32_t ulMACPortBind;      ///< of `macAddress`; 0: none
    uint32_t ulDestMACPortBind;  ///< of `destMacAddress`; 0: none
    uint32_t ulReserved2;        ///< 0
    /// 1 host, 2 destination, 4 the host's port, 8 the destination's port, 32 enable.
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSecMacFiltList) == 40);

inline constexpr uint32_t IGD_SECUR_MAC_FILTER_ATTR_TAB = 495;
inline constexpr uint32_t IGD_SECUR_MAC_FILTER_LIST_TAB = 496;

extern const Table mac_filter_attr_table;
extern const Table mac_filter_list_table;

/// Enters the two tables into the registry.
int32_t register_mac_filter_tables();

/// Changes the selected attributes: platform first, then the stored row. A change disables every
/// stored rule, without a word to the platform about its items. A value above 1 is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR; a platform that refuses leaves the tables as they were.
int32_t igdCmSecureMacFilterAttrSet(IgdSecMacFiltAttr* request, uint32_t size);

/// Copies the attributes out.
int32_t igdCmSecureMacFilterAttrGet(IgdSecMacFiltAttr* attr, uint32_t size);

/// Appends a rule, whose new index is written back into `request`, then hands it to the platform.
/// IGD_CM_OPERATE_FULL when there are 100 rules. The same address may stand on several rules.
int32_t igdCmSecureMacFilterListAdd(IgdSecMacFiltList* request, uint32_t size);

/// Deletes the rule with the request's index or, if that is 0, the first with the request's host or
/// destination; then takes it from the platform. 0 also when there is no such rule.
int32_t igdCmSecureMacFilterListDel(IgdSecMacFiltList* request, uint32_t size);

/// Changes what the request selects of the rule with its index, item by item in the platform, and
/// stores the rule. Index 0 is IGD_CM_GLOBAL_INPUT_PARA_ERROR, an unknown one IGD_CM_OPERATE_FAIL.
int32_t igdCmSecureMacFilterListSet(IgdSecMacFiltList* request, uint32_t size);

/// Copies out the rule that `igdCmSecureMacFilterListDel` would delete; IGD_CM_OPERATE_FAIL if
/// there is none.
int32_t igdCmSecureMacFilterListGet(IgdSecMacFiltList* rule, uint32_t size);

/// Counts the rules.
int32_t igdCmSecureMacFilterListEntryNumGet(uint32_t* count, uint32_t size);

/// Writes the indexes of all rules, in table order, into `indexes`, which is `size` bytes long;
/// IGD_CM_OPERATE_FAIL if it is too short for them.
int32_t igdCmSecureMacFilterListGetallIndex(uint32_t* indexes, uint32_t size);

/// Hands the stored mode to the platform.
int32_t igdCmSecureMacFilterAttrInit();

/// Hands the stored rules to the platform, if the filter is on.
int32_t igdCmSecureMacFilterListInit();

/// Replays mode and rules; always 0.
int32_t igdCmMacFilterModuleInit();

/// The bus object `app_macfilter`.
ubus_object* mac_filter_bus_object();
