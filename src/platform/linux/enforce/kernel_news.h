#pragma once

extern "C" {
#include <libubox/uloop.h>
}

#include <linux/netlink.h>

#include <span>

#include "base/unique_fd.h"

namespace platform::platformd::enforce {

/// What the kernel tells of by itself, whoever has changed it. To be a static object.
class KernelNews : uloop_fd {
  public:
    /// On the event loop each message goes to `take`; `missed` is called when some did not fit the
    /// socket's buffer, which may have been of anything.
    KernelNews(void (*take)(const nlmsghdr& message), void (*missed)())
        : uloop_fd{}, take_(take), missed_(missed) {}

    /// False when the kernel does not tell of one of the groups.
    bool start(int protocol, std::span<const int> groups);
    void stop();

  private:
    static void on_readable(uloop_fd* watch, unsigned events);
    bool subscribe(std::span<const int> groups) const;
    void receive() const;

    void (*take_)(const nlmsghdr& message);
    void (*missed_)();
    base::UniqueFd socket_;
};

}  // namespace platform::platformd::enforce
