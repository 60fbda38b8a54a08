#pragma once

#include <cstdint>

#include "base/export.h"
#include "core/table.h"

struct ubus_object;

// The URL filter keeps hosts from the URLs on a list, or admits them to no others. Its attributes
// say whether it is on and which of the two the lists mean. One list counts for every host, the
// family list for one host each; the rules of a family list belong to numbered groups, so that a
// household's rules for one child, say, can go all at once.
//
// The platform is told before a row is written, by queued calls: success means that the request was
// handed over, not what became of it. What was told is not taken back when the row cannot be
// written.
//
// Operations return 0, IGD_CM_OPERATE_FAIL, IGD_CM_OPERATE_FULL or IGD_CM_GLOBAL_INPUT_PARA_ERROR,
// the last also for a null record or a wrong size.

/// The attributes, one row at position 0.
struct IgdSecurUrlFilterAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t { Enable = 1u << 0, Mode = 1u << 1, All = Enable | Mode };

    uint8_t ucUrlFilterEnable;  ///< 0 off, 1 on
    uint8_t ucFilterMode;       ///< 0 black list, 1 white list
    uint8_t aucReserved[2];     ///< 0
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSecurUrlFilterAttrConfTab) == 8);

/// A rule that counts for every host.
struct IgdSecurUrlFilterListAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Enable = 1u << 0,
        ProtocolMask = 1u << 1,
        Url = 1u << 2,
        All = Enable | ProtocolMask | Url,
    };

    uint32_t ulReserved;     ///< 0
    uint32_t ulIndex;        ///< from 1, given by the add
    uint32_t enable;         ///< passed to the platform as it is
    uint32_t protocol_mask;  ///< the platform's own bits
    char aucFilterUrl[256];  ///< empty: stored, but unknown to the platform
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSecurUrlFilterListAttrConfTab) == 276);

/// A rule that counts for one host.
struct IgdSecurUrlFilterFamilyListAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Enable = 1u << 0,
        ProtocolMask = 1u << 1,
        Url = 1u << 2,
        Mac = 1u << 3,
        FamilyGroup = 1u << 4,
        All = Enable | ProtocolMask | Url | Mac | FamilyGroup,
    };

    uint32_t ulReserved;  ///< 0
    uint32_t ulIndex;
    uint32_t enable;
    uint32_t protocol_mask;
    char aucFilterUrl[256];
    char aucMacAddress[18];  ///< the host, as text; empty: no host in particular
    uint8_t aucReserved[2];  ///< 0
    int32_t family_group;    ///< never sent to the platform
    uint16_t ulBitmap;
    uint16_t usReserved;  ///< 0
};
static_assert(sizeof(IgdSecurUrlFilterFamilyListAttrConfTab) == 300);

inline constexpr uint32_t IGD_SECUR_URL_FILTER_ATTR_TAB = 492;
inline constexpr uint32_t IGD_SECUR_URL_FILTER_LIST_TAB = 493;
inline constexpr uint32_t IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB = 801;

/// Changes the selected attributes. A selected value above 1 is IGD_CM_GLOBAL_INPUT_PARA_ERROR; if
/// the platform refuses, the row stays as it was: IGD_CM_OPERATE_FAIL, as when it cannot be
/// written.
int32_t igdCmSecureUrlFilterAttrSet(IgdSecurUrlFilterAttrConfTab* request, uint32_t size);

/// Reads the attributes into `out`; IGD_CM_OPERATE_FAIL if they cannot be read.
int32_t igdCmSecureUrlFilterAttrGet(IgdSecurUrlFilterAttrConfTab* out, uint32_t size);

/// Sets the stored attributes again and returns what came of it.
int32_t igdCmSecureUrlFilterAttrInit();

/// Appends a rule, whose new index is written back into `request`. IGD_CM_OPERATE_FULL when there
/// are 100 rules; IGD_CM_OPERATE_FAIL when one has the very same URL. If there is a URL, an enable
/// flag that is not selected becomes 1 and a protocol mask 3, in `request` too.
int32_t igdCmSecureUrlFilterListAdd(IgdSecurUrlFilterListAttrConfTab* request, uint32_t size);

/// Replaces the rule with the request's index (up to 100, IGD_CM_GLOBAL_INPUT_PARA_ERROR above);
/// IGD_CM_OPERATE_FAIL if there is none. What is not selected takes the defaults of an add, but the
/// URL is always taken. The new address is set before the row is written, the old one deleted
/// after, even where both are the same; if that is refused, IGD_CM_OPERATE_FAIL is returned and the
/// row is the new one all the same.
int32_t igdCmSecureUrlFilterListSet(IgdSecurUrlFilterListAttrConfTab* request, uint32_t size);

/// Deletes the rule with the request's index (up to 100). A larger index or an unknown one is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR; if the platform refuses, the rule stays: IGD_CM_OPERATE_FAIL.
int32_t igdCmSecureUrlFilterListDel(IgdSecurUrlFilterListAttrConfTab* request, uint32_t size);

extern "C" {
// Queries for other programs of the gateway, by their plain names.

/// Fills `request` with the rule of its index; IGD_CM_OPERATE_FAIL if there is none.
APPCFGD_EXPORT int32_t igdCmSecureUrlFilterListGet(IgdSecurUrlFilterListAttrConfTab* request,
                                                   uint32_t size);

/// Stores the number of rules in `count`.
APPCFGD_EXPORT int32_t igdCmSecureUrlFilterListEntryNumGet(uint32_t* count, uint32_t size);

/// Stores the index of every rule in `indexes`, in table order. `size` is that of the array in
/// bytes; IGD_CM_OPERATE_FAIL when there are more rules than fit.
APPCFGD_EXPORT int32_t igdCmSecureUrlFilterListGetallIndex(uint32_t* indexes, uint32_t size);

/// Fills `request` with the family rule of its index (up to 100, IGD_CM_GLOBAL_INPUT_PARA_ERROR
/// above); IGD_CM_OPERATE_FAIL if there is none.
APPCFGD_EXPORT int32_t
igdCmSecureUrlFilterFamilyListGet(IgdSecurUrlFilterFamilyListAttrConfTab* request, uint32_t size);
}

/// Sets the address of every stored rule; always 0.
int32_t igdCmSecureUrlFilterListInit();

/// As `igdCmSecureUrlFilterListAdd`, with the same results, for one host. A URL stands in the
/// family list only once, whatever the host or group.
int32_t igdCmSecureUrlFilterFamilyListAdd(IgdSecurUrlFilterFamilyListAttrConfTab* request,
                                          uint32_t size);

/// As `igdCmSecureUrlFilterListDel`, with the same results.
int32_t igdCmSecureUrlFilterFamilyListDel(IgdSecurUrlFilterFamilyListAttrConfTab* request,
                                          uint32_t size);

/// Deletes all rules of the request's family group, those that the platform refuses to delete too;
/// IGD_CM_OPERATE_FAIL if there was such a one, IGD_CM_GLOBAL_INPUT_PARA_ERROR if the group has no
/// rule.
int32_t igdCmSecureUrlFilterFamilyGroupAllDel(IgdSecurUrlFilterFamilyListAttrConfTab* request,
                                              uint32_t size);

/// Sets the address of every stored family rule; IGD_CM_OPERATE_FAIL if one was refused.
int32_t igdCmSecureUrlFilterFamilyListInit();

/// The module's start-up: attributes, list and family list, in this order; always 0.
int32_t igdCmSecureModuleInit();

namespace appcfg {

/// Requests name rules by indexes up to this.
inline constexpr uint32_t kLargestUrlFilterIndex = 100;

extern const TableOf<IgdSecurUrlFilterAttrConfTab> url_filter_attr_table;
extern const TableOf<IgdSecurUrlFilterListAttrConfTab> url_filter_list_table;
extern const TableOf<IgdSecurUrlFilterFamilyListAttrConfTab> url_filter_family_list_table;

/// Enters the three tables into the registry.
int32_t register_url_filter_tables();

/// Sets the platform's service up anew and replays the filter into it.
void url_filter_restart();

/// The bus object `app_urlfilter`.
ubus_object* url_filter_bus_object();

}  // namespace appcfg
