#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/zu_record.h"

// The platform records of loopback detection. All numbers are in host byte order.

/// Sets how often ports are probed and how long a loop must be seen, or missed, to count.
inline constexpr char kLoopbackTimeSetCall[] = "zu_zu_loopback_detection_time_set_call";
/// Starts, restarts or stops the detection on one port.
inline constexpr char kLoopbackStartCall[] = "zu_zu_loopback_detection_start_call";
/// Asks for the loop state of one LAN port.
inline constexpr char kLoopbackResultGetCall[] = "zu_zu_loopback_detection_result_get_call";

/// Ports are numbered from 0; detection runs on all of them, LAN or not.
inline constexpr uint32_t kLoopbackPorts = 20;
/// LAN ports, the only ones whose state can be asked for.
inline constexpr uint32_t kLoopbackLanPorts = 4;

/// Periods and rate are in the platform's own units.
struct st_loopback_detection_time {
    uint32_t exist;   ///< a loop seen for so long is there
    uint32_t cancel;  ///< a loop missed for so long is gone
    uint32_t pkt_per_sec;
};

inline constexpr RecordField kLoopbackTimeFields[] = {
    RECORD_FIELD(st_loopback_detection_time, exist, 0),
    RECORD_FIELD(st_loopback_detection_time, cancel, 4),
    RECORD_FIELD(st_loopback_detection_time, pkt_per_sec, 8),
};
inline constexpr RecordLayout kLoopbackTimeLayout =
    RECORD_LAYOUT(st_loopback_detection_time, 12, kLoopbackTimeFields);

struct st_loopback_detection_attr {
    uint32_t enable;  ///< 0 off, 1 on
    uint32_t port;
    uint32_t tag[8];   ///< VLANs in which probes are sent, 0: untagged; unused ones 0
    uint32_t tagnum;   ///< used ones of `tag`
    uint32_t ethtype;  ///< of the probes
};

inline constexpr RecordField kLoopbackAttrFields[] = {
    RECORD_FIELD(st_loopback_detection_attr, enable, 0),
    RECORD_FIELD(st_loopback_detection_attr, port, 4),
    RECORD_FIELD(st_loopback_detection_attr, tag, 8),
    RECORD_FIELD(st_loopback_detection_attr, tagnum, 40),
    RECORD_FIELD(st_loopback_detection_attr, ethtype, 44),
};
inline constexpr RecordLayout kLoopbackAttrLayout =
    RECORD_LAYOUT(st_loopback_detection_attr, 48, kLoopbackAttrFields);

struct st_loopback_detection_result {
    uint32_t port;    ///< LAN port, from 0
    uint32_t status;  ///< out: 0 no loop
};

inline constexpr RecordField kLoopbackResultFields[] = {
    RECORD_FIELD(st_loopback_detection_result, port, 0),
    RECORD_FIELD(st_loopback_detection_result, status, 4),
};
inline constexpr RecordLayout kLoopbackResultLayout =
    RECORD_LAYOUT(st_loopback_detection_result, 8, kLoopbackResultFields);
