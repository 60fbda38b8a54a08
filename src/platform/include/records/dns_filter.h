#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "platform/include/zu_call.h"

// The DNS filter's platform records. All numbers are in host byte order.

struct st_item {
    uint8_t index;
    uint8_t reserved1;
    uint8_t action;
    uint8_t reserved3;
    uint8_t enable;
    uint8_t hostflag;  ///< 1: the rule has a host list
    uint8_t mode;
    uint8_t active;      ///< 0 in requests
    char auc_time[128];  ///< "weekdays;time"
    char auc_mac[24];    ///< the client's address as text
    uint32_t Bitmap;     ///< not part of the short record
};

namespace platform {

/// A rule's host list is this file, "_" and the rule's index in decimal: one domain a line. The
/// platform reads it when the rule is set with kDnsFilterSetHosts.
inline constexpr char kDnsFilterRuleHostList[] = "/config/work/valueset/dnsfilter_hostlist";

/// What a set call changes (`Bitmap`).
inline constexpr uint32_t kDnsFilterSetEnable = 1;
inline constexpr uint32_t kDnsFilterSetHosts = 2;
inline constexpr uint32_t kDnsFilterSetMac = 4;
inline constexpr uint32_t kDnsFilterSetMode = 8;
inline constexpr uint32_t kDnsFilterSetAction = 16;
inline constexpr uint32_t kDnsFilterSetTime = 32;

inline constexpr RecordField kDnsFilterItemFields[] = {
    RECORD_FIELD(st_item, index, 0),    RECORD_PADDING(st_item, reserved1, 1),
    RECORD_FIELD(st_item, action, 2),   RECORD_PADDING(st_item, reserved3, 3),
    RECORD_FIELD(st_item, enable, 4),   RECORD_FIELD(st_item, hostflag, 5),
    RECORD_FIELD(st_item, mode, 6),     RECORD_FIELD(st_item, active, 7),
    RECORD_FIELD(st_item, auc_time, 8), RECORD_FIELD(st_item, auc_mac, 136),
    RECORD_FIELD(st_item, Bitmap, 160),
};
inline constexpr auto kDnsFilterItemLayout = RECORD_LAYOUT(st_item, 164, kDnsFilterItemFields);

/// The short record: all but `Bitmap`.
inline constexpr LayoutOf<st_item> kDnsFilterShortItemLayout = {
    {"st_item", offsetof(st_item, Bitmap),
     std::span(kDnsFilterItemFields).first(std::size(kDnsFilterItemFields) - 1)}};
static_assert(kDnsFilterShortItemLayout.size == 160);
static_assert(fills_record(kDnsFilterShortItemLayout.fields, kDnsFilterShortItemLayout.size));

/// Makes a rule known, or makes it anew, as the record says. Takes the short record.
inline constexpr Call kDnsFilterAdd{"zu_zu_sal_sec_dns_filter_add_call", kDnsFilterShortItemLayout};
/// Forgets the rule with the record's index; no error if there is none. Takes the short record.
inline constexpr Call kDnsFilterDel{"zu_zu_sal_sec_dns_filter_del_call", kDnsFilterShortItemLayout};
/// Changes the fields of a rule that `Bitmap` names.
inline constexpr Call kDnsFilterSet{"zu_zu_sal_sec_dns_filter_set_call", kDnsFilterItemLayout};
/// Fills the record with the rule of its index; left as it is, and no error, if there is none.
inline constexpr Call kDnsFilterGet{"zu_zu_sal_sec_dns_filter_get_call", kDnsFilterItemLayout};

}  // namespace platform
