#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/zu_call.h"

// The MAC filter's platform records.

struct st_macfilter_mode {
    uint32_t mac_filter;
};

struct st_macfilter_item {
    char mac[18];  ///< "AA:BB:CC:DD:EE:FF"
    uint8_t padding[2];
    uint32_t mac_kind;
};

namespace platform {

/// What the items mean (`mac_filter`).
inline constexpr uint32_t kMacFilterOff = 0;
inline constexpr uint32_t kMacFilterBlackList = 1;
inline constexpr uint32_t kMacFilterWhiteList = 2;

/// Which end of the traffic an item's address names.
inline constexpr uint32_t kMacKindHost = 1;
inline constexpr uint32_t kMacKindDestination = 2;

inline constexpr RecordField kMacFilterModeFields[] = {
    RECORD_FIELD(st_macfilter_mode, mac_filter, 0),
};
inline constexpr auto kMacFilterModeLayout =
    RECORD_LAYOUT(st_macfilter_mode, 4, kMacFilterModeFields);

inline constexpr RecordField kMacFilterItemFields[] = {
    RECORD_FIELD(st_macfilter_item, mac, 0),
    RECORD_PADDING(st_macfilter_item, padding, 18),
    RECORD_FIELD(st_macfilter_item, mac_kind, 20),
};
inline constexpr auto kMacFilterItemLayout =
    RECORD_LAYOUT(st_macfilter_item, 24, kMacFilterItemFields);

/// Sets what the items mean; they stay.
inline constexpr Call kMacFilterModeSet{"zu_zu_lanhost_macfilter_mode_set_call",
                                        kMacFilterModeLayout};
/// Enters one item.
inline constexpr Call kMacFilterItemAdd{"zu_zu_lanhost_macfilter_item_add_call",
                                        kMacFilterItemLayout};
/// Removes one item.
inline constexpr Call kMacFilterItemDel{"zu_zu_lanhost_macfilter_item_del_call",
                                        kMacFilterItemLayout};

}  // namespace platform
