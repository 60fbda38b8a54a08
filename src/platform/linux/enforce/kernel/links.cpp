#include "platform/linux/enforce/links.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <cerrno>

#include "base/unique_fd.h"
#include "platform/linux/enforce/kernel/route.h"

namespace platform::platformd::enforce {

namespace {

constexpr int64_t kBetweenCallsMs = 1000;
constexpr size_t kMaxMessages = 1 << 15;
constexpr int kGroups[] = {RTNLGRP_LINK, RTNLGRP_TC};

base::UniqueFd g_socket;
uloop_fd g_watch;
uloop_timeout g_timer;
int64_t g_last_call;
void (*g_changed)();

int64_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

void call(uloop_timeout*) {
    g_last_call = now_ms();
    g_changed();
}

void call_soon() {
    if (g_timer.pending) return;
    const auto wait = g_last_call + kBetweenCallsMs - now_ms();
    uloop_timeout_set(&g_timer, static_cast<int>(std::max<int64_t>(wait, 0)));
}

// What did not fit the socket's buffer may have been anybody's.
void on_readable(uloop_fd*, unsigned) {
    alignas(nlmsghdr) static char buffer[kMaxMessages];
    for (;;) {
        const auto size = recv(g_socket.get(), buffer, sizeof(buffer), MSG_DONTWAIT);
        if (size < 0 && errno == ENOBUFS) call_soon();
        if (size < 0 && errno != ENOBUFS) return;
        auto* message = reinterpret_cast<nlmsghdr*>(buffer);
        for (auto left = static_cast<int>(size); left > 0 && NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left))
            if (message->nlmsg_pid != route::port()) call_soon();
    }
}

bool subscribe() {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    if (bind(g_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        return false;
    return std::ranges::all_of(kGroups, [](int group) {
        return setsockopt(g_socket.get(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group,
                          sizeof(group)) == 0;
    });
}

}  // namespace

bool links_start(void (*changed)()) {
    g_socket.reset(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    if (!g_socket || !subscribe()) return false;
    g_changed = changed;
    g_timer.cb = call;
    g_watch.cb = on_readable;
    g_watch.fd = g_socket.get();
    return uloop_fd_add(&g_watch, ULOOP_READ) == 0;
}

void links_stop() {
    if (!g_socket) return;
    uloop_timeout_cancel(&g_timer);
    uloop_fd_delete(&g_watch);
    g_socket.reset();
}

}  // namespace platform::platformd::enforce
