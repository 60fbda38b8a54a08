#pragma once

#include <unistd.h>

#include <utility>

namespace base {

/// Owns a file descriptor.
class UniqueFd {
  public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(other.release());
        return *this;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }

    /// False if the file owned so far reported a late write error.
    bool reset(int fd = -1) {
        const int old = std::exchange(fd_, fd);
        return old < 0 || close(old) == 0;
    }

  private:
    int fd_;
};

}  // namespace base
