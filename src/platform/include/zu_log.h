#pragma once

#include <cstdint>

// The platform's log gate.

extern "C" {

/// Non-zero when lines of `module` at `level` are to be printed. The answer may change between any
/// two calls, so it is asked for every line; asking costs a few nanoseconds.
int32_t zu_log_print_on(uint32_t module, uint32_t level);
}
