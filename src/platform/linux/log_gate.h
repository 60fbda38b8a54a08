#pragma once

#include <cstddef>
#include <cstdint>

// The levels behind the log gate, shared by all processes through the file RUN/zu_log.

namespace platform {

struct LogLevel {
    uint32_t module;  ///< 0: this pair and all behind it are unused
    uint32_t level;
};
inline constexpr size_t kLogLevels = 64;
static_assert(sizeof(LogLevel) == 8);

/// Level of a module that is not listed.
inline constexpr uint32_t kDefaultLogLevel = 3;

/// A module's level as it is now.
uint32_t log_level(uint32_t module);

/// Sets a module's level for all processes. False when the file cannot be used or is full.
bool set_log_level(uint32_t module, uint32_t level);

/// Forgets the mapped file, so that the next question opens it anew.
void reopen_log_gate();

}  // namespace platform
