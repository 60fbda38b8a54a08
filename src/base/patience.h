#pragma once

#include <chrono>

// How long the daemon stands still for somebody else: for a package that another program has
// locked, for room in a service's queue. A request that meets many such obstacles must not wait at
// each of them, or it holds up all others for minutes.

namespace base {

/// While it lives, the waits of this thread share one budget of 2 seconds; work in between does not
/// count. One made inside another changes nothing. Where none lives, each wait has its own 2
/// seconds.
class RequestPatience {
  public:
    RequestPatience();
    ~RequestPatience();
    RequestPatience(const RequestPatience&) = delete;
    RequestPatience& operator=(const RequestPatience&) = delete;
};

/// One wait, from here to the end of its life, which is charged to the request. To be made only
/// where nothing but waiting happens. Whoever waits tries at least once, whatever is left:
///
///     for (base::Wait wait; !try_it() && wait.pause();) continue;
class Wait {
  public:
    Wait();
    ~Wait();
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

    /// What may still be waited, rounded up; zero once the patience is spent.
    std::chrono::milliseconds left() const;

    /// Sleeps for a millisecond: often enough to get hold of what another process gives and takes
    /// without a pause. False, at once, if nothing is left.
    bool pause() const;

  private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point start_ = Clock::now();
    Clock::duration budget_;
};

}  // namespace base
