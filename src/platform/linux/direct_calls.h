#pragma once

#include "platform/include/zu_call.h"

// The records behind the platform's direct library calls: their arguments as consecutive 32-bit
// words. The calls bear the functions' own names.

struct st_port_flow {
    uint32_t port;
    uint32_t index;
    uint32_t value;
};

struct st_cpu_rate {
    uint32_t rate;
};

namespace platform {

inline constexpr RecordField kPortFlowFields[] = {
    RECORD_FIELD(st_port_flow, port, 0),
    RECORD_FIELD(st_port_flow, index, 4),
    RECORD_FIELD(st_port_flow, value, 8),
};
inline constexpr auto kPortFlowLayout = RECORD_LAYOUT(st_port_flow, 12, kPortFlowFields);

inline constexpr RecordField kCpuRateFields[] = {
    RECORD_FIELD(st_cpu_rate, rate, 0),
};
inline constexpr auto kCpuRateLayout = RECORD_LAYOUT(st_cpu_rate, 4, kCpuRateFields);

inline constexpr Call kSetDportFlow{"zu_netif_set_dport_flow", kPortFlowLayout};
inline constexpr Call kSetSportFlow{"zu_netif_set_sport_flow", kPortFlowLayout};
inline constexpr Call kSetCpuRate{"zu_netif_set_cpu_rate", kCpuRateLayout};

}  // namespace platform
