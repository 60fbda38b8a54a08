#pragma once

#include <chrono>

class Stopwatch {
  public:
    double microseconds() const {
        return std::chrono::duration<double, std::micro>(Clock::now() - start_).count();
    }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};
