#pragma once

// Where the mark of a frame has the number of the queue that its host is limited by: written by the
// rules of the library's ebtables, read by those of platformd.

namespace platform {

inline constexpr int kQueueMarkShift = 25;
inline constexpr unsigned kLastMarkedQueue = 127;

}  // namespace platform
