#pragma once

#include <cstdint>

// The modules by which the platform's log gate knows who prints.

namespace base {

inline constexpr uint32_t kLogLanHost = 0x3205000;
inline constexpr uint32_t kLogLoopback = 0x4104000;
inline constexpr uint32_t kLogQos = 0x410c000;
inline constexpr uint32_t kLogSecurity = 0x410d000;

}  // namespace base
