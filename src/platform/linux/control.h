#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/linux/ipc_wire.h"

// What platformctl and platformd say to each other, by the same calls that services are reached by.

namespace platform {

inline constexpr char kStateCall[] = "platformd_state";
inline constexpr char kTraceCall[] = "platformd_trace";
inline constexpr char kTraceClearCall[] = "platformd_trace_clear";
inline constexpr char kFaultCall[] = "platformd_fault";
inline constexpr char kDescribeCall[] = "platformd_describe";
/// What platformd has to say to an audit: lines of audit_line.h, in pieces as those of the state.
inline constexpr char kAuditCall[] = "platformd_audit";
/// Without a record.
inline constexpr char kReleaseCall[] = "platformd_release";

/// Result of a control call that names something platformd does not have.
inline constexpr int32_t kControlUnknown = -2;

/// One piece of a text that may be longer than a record. Asks with the position to read from, and
/// comes back with the position to go on at.
struct ControlText {
    uint64_t position;  ///< state: offset in the text; trace: number of a call, from 1
    uint64_t mark;      ///< state: changes when the text does, so that pieces are not mixed up
    uint32_t length;    ///< of `text`
    uint32_t more;      ///< 1: there is more to read at `position`
    /// State asks with a service's name, "" for all of them; describe asks with the name of a call,
    /// a NUL and the bytes of its record, `length` in all, and gets the record field by field.
    char text[kIpcMaxRecord - 24];
};
static_assert(sizeof(ControlText) == kIpcMaxRecord);
static_assert(std::has_unique_object_representations_v<ControlText>);

enum class FaultKind : uint32_t {
    ClearAll,  ///< forget all faults; the rest of the record is ignored
    Fail,      ///< answer with `result` without doing anything
    Die,       ///< end the process instead of answering
    Hang,      ///< answer after `seconds`
};

/// Arms a fault for the next `count` calls of one name, in place of any earlier one.
struct ControlFault {
    FaultKind kind;
    uint32_t count;
    int32_t result;
    uint32_t seconds;  ///< at most kMaxHangSeconds
    char name[kIpcMaxName + 1];
};
static_assert(sizeof(ControlFault) == 80);
static_assert(std::has_unique_object_representations_v<ControlFault>);

inline constexpr uint32_t kMaxHangSeconds = 3600;

}  // namespace platform
