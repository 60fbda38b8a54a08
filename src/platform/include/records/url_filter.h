#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/zu_call.h"

// The URL filter's platform records. All numbers are in host byte order. The calls are queued.

struct st_url_filter {
    uint32_t filter_en;    ///< 1: the filter is on
    uint32_t em_listtype;  ///< list type
};

/// One address.
struct st_url_address {
    uint32_t filter_en;   ///< 0: the address is held, but not in force
    uint32_t proto_mask;  ///< protocols, one bit each, in the platform's own numbering
    char url_name[256];   ///< the rest of the text's room is zero
    char host_mac[18];    ///< the host that it is for, as text; empty: all
    uint8_t padding[2];   ///< 0
};

namespace platform {

/// List types: the addresses name what is blocked, or what alone may be reached.
inline constexpr uint32_t kUrlFilterBlackList = 0;
inline constexpr uint32_t kUrlFilterWhiteList = 1;

inline constexpr RecordField kUrlFilterFields[] = {
    RECORD_FIELD(st_url_filter, filter_en, 0),
    RECORD_FIELD(st_url_filter, em_listtype, 4),
};
inline constexpr auto kUrlFilterLayout = RECORD_LAYOUT(st_url_filter, 8, kUrlFilterFields);

inline constexpr RecordField kUrlAddressFields[] = {
    RECORD_FIELD(st_url_address, filter_en, 0),   RECORD_FIELD(st_url_address, proto_mask, 4),
    RECORD_FIELD(st_url_address, url_name, 8),    RECORD_FIELD(st_url_address, host_mac, 264),
    RECORD_PADDING(st_url_address, padding, 282),
};
inline constexpr auto kUrlAddressLayout = RECORD_LAYOUT(st_url_address, 284, kUrlAddressFields);

/// Switches the filter and says what its addresses mean.
inline constexpr Call kUrlFilterSet{"zu_zu_sal_sec_url_filter_set_call", kUrlFilterLayout};
/// Adds an address.
inline constexpr Call kUrlAddressSet{"zu_zu_sal_sec_url_address_set_call", kUrlAddressLayout};
/// Removes one address equal to the record in every byte.
inline constexpr Call kUrlAddressDelete{"zu_zu_sal_sec_url_address_delete_call", kUrlAddressLayout};

}  // namespace platform
