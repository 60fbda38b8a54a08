#pragma once

#include <chrono>
#include <ctime>

/// Calls `attempt` every millisecond until it returns true, for 2 seconds: often enough to get hold
/// of a package that another process changes without a pause. The daemon stands still meanwhile.
template <class Attempt>
void try_patiently(Attempt attempt) {
    using Clock = std::chrono::steady_clock;
    constexpr timespec kPause = {0, 1'000'000};
    const auto end = Clock::now() + std::chrono::seconds(2);
    while (!attempt() && Clock::now() < end)
        nanosleep(&kPause, nullptr);
}
