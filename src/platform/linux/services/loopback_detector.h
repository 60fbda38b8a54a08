#pragma once

#include <array>
#include <cstdint>

#include "platform/include/records/loopback.h"
#include "platform/linux/services/loopback_rules.h"

// Which ports are in a loop, by the probes that came back. Times are milliseconds of one clock,
// which never goes back.

namespace platform::platformd::loopback {

/// Something that counts when it has been seen for long enough, until it has been missed for long
/// enough.
class Sighting {
  public:
    void see(int64_t time);
    /// Judges what has been seen since the last look.
    void look(int64_t now, const Periods& periods);
    /// It counts at once.
    void assume(int64_t now);

    bool counts() const { return counts_; }

  private:
    static constexpr int64_t kNever = -1;

    int64_t first_ = kNever;
    int64_t last_ = kNever;
    bool fresh_ = false;
    bool counts_ = false;
};

class Detector {
  public:
    /// A probe that port `from` has sent at `time` has come in at port `at`.
    void came_back(uint32_t from, uint32_t at, int64_t time);
    void look(int64_t now, const Periods& periods);
    /// The port has been closed for a loop by an earlier platformd.
    void assume_closed(uint32_t port, int64_t now);
    void forget(uint32_t port) { ports_[port] = {}; }

    bool in_loop(uint32_t port) const { return ports_[port].loop.counts(); }
    /// Closing these ports opens every loop, and leaves the lowest port of each as it is; what
    /// loops in itself behind a port keeps none.
    bool to_close(uint32_t port) const { return ports_[port].higher_end.counts(); }

  private:
    struct Port {
        Sighting loop;
        Sighting higher_end;  ///< the other end is a lower port, or the same
    };

    std::array<Port, kLoopbackPorts> ports_;
};

}  // namespace platform::platformd::loopback
