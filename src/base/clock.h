#pragma once

#include <chrono>
#include <cstdint>

namespace base {

/// Milliseconds of a clock that never goes back.
inline int64_t now_ms() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace base
