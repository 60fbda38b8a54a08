#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/zu_call.h"

// The IP filter's platform records. All numbers are in host byte order.

struct st_filter_mode {
    uint32_t up_filter_en;   ///< 1: upstream traffic is filtered
    uint32_t dn_filter_en;   ///< 1: downstream traffic is filtered
    uint32_t ui_dir_bitmap;  ///< directions this record is about
    uint32_t em_dn_listtype;
    uint32_t em_up_listtype;
};

struct st_flush_chain {
    uint32_t ui_dir_bitmap;
};

/// One rule. The WAN is the destination side and the LAN the source side, whatever the direction.
/// Ports and addresses are ranges, both ends included; an address that is empty or begins with a
/// space means any.
struct st_filter_list {
    uint32_t em_type;       ///< protocol, in the platform's own numbering
    uint32_t em_dir;        ///< direction
    uint32_t ui_dst_sport;  ///< WAN ports
    uint32_t ui_dst_eport;
    uint32_t ui_src_sport;  ///< LAN ports
    uint32_t ui_src_eport;
    char ac_dst_sip[40];  ///< WAN addresses, IPv4 or IPv6 text
    char ac_dst_eip[40];
    char ac_src_sip[40];  ///< LAN addresses
    char ac_src_eip[40];
};

namespace platform {

/// Directions in a `ui_dir_bitmap`.
inline constexpr uint32_t kIpFilterUpMask = 1;
inline constexpr uint32_t kIpFilterDownMask = 2;

/// Direction of one rule (`em_dir`).
inline constexpr uint32_t kIpFilterDown = 0;
inline constexpr uint32_t kIpFilterUp = 1;

/// List types: the rules name what is blocked, or what alone may pass.
inline constexpr uint32_t kIpFilterBlackList = 0;
inline constexpr uint32_t kIpFilterWhiteList = 1;

inline constexpr RecordField kFilterModeFields[] = {
    RECORD_FIELD(st_filter_mode, up_filter_en, 0),
    RECORD_FIELD(st_filter_mode, dn_filter_en, 4),
    RECORD_FIELD(st_filter_mode, ui_dir_bitmap, 8),
    RECORD_FIELD(st_filter_mode, em_dn_listtype, 12),
    RECORD_FIELD(st_filter_mode, em_up_listtype, 16),
};
inline constexpr auto kFilterModeLayout = RECORD_LAYOUT(st_filter_mode, 20, kFilterModeFields);

inline constexpr RecordField kFlushChainFields[] = {
    RECORD_FIELD(st_flush_chain, ui_dir_bitmap, 0),
};
inline constexpr auto kFlushChainLayout = RECORD_LAYOUT(st_flush_chain, 4, kFlushChainFields);

inline constexpr RecordField kFilterListFields[] = {
    RECORD_FIELD(st_filter_list, em_type, 0),       RECORD_FIELD(st_filter_list, em_dir, 4),
    RECORD_FIELD(st_filter_list, ui_dst_sport, 8),  RECORD_FIELD(st_filter_list, ui_dst_eport, 12),
    RECORD_FIELD(st_filter_list, ui_src_sport, 16), RECORD_FIELD(st_filter_list, ui_src_eport, 20),
    RECORD_FIELD(st_filter_list, ac_dst_sip, 24),   RECORD_FIELD(st_filter_list, ac_dst_eip, 64),
    RECORD_FIELD(st_filter_list, ac_src_sip, 104),  RECORD_FIELD(st_filter_list, ac_src_eip, 144),
};
inline constexpr auto kFilterListLayout = RECORD_LAYOUT(st_filter_list, 184, kFilterListFields);

/// Sets the filter's modes, those of the directions in `ui_dir_bitmap`.
inline constexpr Call kIpFilterSet{"zu_zu_sal_ipfilter_set_call", kFilterModeLayout};
/// Sets the modes of both directions when the rules are about to be replayed.
inline constexpr Call kIpFilterRestartSet{"zu_zu_sal_ipfilter_restart_set_call", kFilterModeLayout};
/// Appends a rule to its direction's chain.
inline constexpr Call kIpFilterRuleAdd{"zu_zu_sal_ipfilter_rule_add_call", kFilterListLayout};
/// Removes one rule equal to the record in every byte, if there is one.
inline constexpr Call kIpFilterRuleDel{"zu_zu_sal_ipfilter_rule_del_call", kFilterListLayout};
/// Removes all rules of the directions in `ui_dir_bitmap`.
inline constexpr Call kIpFilterFlushChain{"zu_zu_sal_ipfilter_flush_chain_call", kFlushChainLayout};

}  // namespace platform
