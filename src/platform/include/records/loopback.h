#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/zu_call.h"

// The platform records of loopback detection. All numbers are in host byte order.

/// Periods and rate are in the platform's own units.
struct st_loopback_detection_time {
    uint32_t exist;   ///< a loop seen for so long is there
    uint32_t cancel;  ///< a loop missed for so long is gone
    uint32_t pkt_per_sec;
};

struct st_loopback_detection_attr {
    uint32_t enable;  ///< 0 off, 1 on
    uint32_t port;
    uint32_t tag[8];   ///< VLANs in which probes are sent, 0: untagged; unused ones 0
    uint32_t tagnum;   ///< used ones of `tag`
    uint32_t ethtype;  ///< of the probes
};

struct st_loopback_detection_result {
    uint32_t port;    ///< LAN port, from 0
    uint32_t status;  ///< out: 0 no loop
};

namespace platform {

/// Ports are numbered from 0; detection runs on all of them, LAN or not.
inline constexpr uint32_t kLoopbackPorts = 20;
/// LAN ports, the only ones whose state can be asked for.
inline constexpr uint32_t kLoopbackLanPorts = 4;

inline constexpr RecordField kLoopbackTimeFields[] = {
    RECORD_FIELD(st_loopback_detection_time, exist, 0),
    RECORD_FIELD(st_loopback_detection_time, cancel, 4),
    RECORD_FIELD(st_loopback_detection_time, pkt_per_sec, 8),
};
inline constexpr auto kLoopbackTimeLayout =
    RECORD_LAYOUT(st_loopback_detection_time, 12, kLoopbackTimeFields);

inline constexpr RecordField kLoopbackAttrFields[] = {
    RECORD_FIELD(st_loopback_detection_attr, enable, 0),
    RECORD_FIELD(st_loopback_detection_attr, port, 4),
    RECORD_FIELD(st_loopback_detection_attr, tag, 8),
    RECORD_FIELD(st_loopback_detection_attr, tagnum, 40),
    RECORD_FIELD(st_loopback_detection_attr, ethtype, 44),
};
inline constexpr auto kLoopbackAttrLayout =
    RECORD_LAYOUT(st_loopback_detection_attr, 48, kLoopbackAttrFields);

inline constexpr RecordField kLoopbackResultFields[] = {
    RECORD_FIELD(st_loopback_detection_result, port, 0),
    RECORD_FIELD(st_loopback_detection_result, status, 4),
};
inline constexpr auto kLoopbackResultLayout =
    RECORD_LAYOUT(st_loopback_detection_result, 8, kLoopbackResultFields);

/// Sets how often ports are probed and how long a loop must be seen, or missed, to count.
inline constexpr Call kLoopbackTimeSet{"zu_zu_loopback_detection_time_set_call",
                                       kLoopbackTimeLayout};
/// Starts, restarts or stops the detection on one port.
inline constexpr Call kLoopbackStart{"zu_zu_loopback_detection_start_call", kLoopbackAttrLayout};
/// Asks for the loop state of one LAN port.
inline constexpr Call kLoopbackResultGet{"zu_zu_loopback_detection_result_get_call",
                                         kLoopbackResultLayout};

}  // namespace platform
