#include "base/patience.h"

#include <algorithm>
#include <ctime>

namespace base {

namespace {

using Duration = std::chrono::steady_clock::duration;

constexpr Duration kPatience = std::chrono::seconds(2);

thread_local int requests = 0;
thread_local Duration budget = kPatience;

}  // namespace

RequestPatience::RequestPatience() {
    if (requests++ == 0) budget = kPatience;
}

RequestPatience::~RequestPatience() {
    --requests;
}

Wait::Wait() : budget_(requests > 0 ? budget : kPatience) {}

Wait::~Wait() {
    if (requests > 0) budget = std::max(budget_ - (Clock::now() - start_), Duration::zero());
}

std::chrono::milliseconds Wait::left() const {
    const auto left = budget_ - (Clock::now() - start_);
    return std::chrono::ceil<std::chrono::milliseconds>(std::max(left, Duration::zero()));
}

bool Wait::pause() const {
    constexpr timespec kPause = {0, 1'000'000};
    if (left() == std::chrono::milliseconds::zero()) return false;
    nanosleep(&kPause, nullptr);
    return true;
}

}  // namespace base
