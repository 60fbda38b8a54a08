#include "platform/linux/services/loopback_detector.h"

#include <algorithm>
#include <utility>

namespace platform::platformd::loopback {

void Sighting::see(int64_t time) {
    if (first_ == kNever) first_ = time;
    fresh_ = true;
}

// What does not count yet is forgotten like what does, so that a storm in which most probes are
// lost is found.
void Sighting::look(int64_t now, const Periods& periods) {
    if (first_ == kNever) return;
    if (std::exchange(fresh_, false)) {
        last_ = now;
        if (now - first_ >= periods.exist) counts_ = true;
    }
    if (now - last_ >= periods.cancel) *this = {};
}

void Sighting::assume(int64_t now) {
    first_ = last_ = now;
    counts_ = true;
}

void Detector::came_back(uint32_t from, uint32_t at, int64_t time) {
    ports_[from].loop.see(time);
    ports_[at].loop.see(time);
    ports_[std::max(from, at)].higher_end.see(time);
}

void Detector::look(int64_t now, const Periods& periods) {
    for (auto& port : ports_) {
        port.loop.look(now, periods);
        port.higher_end.look(now, periods);
    }
}

void Detector::assume_closed(uint32_t port, int64_t now) {
    ports_[port].loop.assume(now);
    ports_[port].higher_end.assume(now);
}

}  // namespace platform::platformd::loopback
