#include "platform/linux/enforce/links.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <linux/rtnetlink.h>

#include <algorithm>

#include "base/clock.h"
#include "platform/linux/enforce/kernel/route.h"
#include "platform/linux/enforce/kernel_news.h"

namespace platform::platformd::enforce {

namespace {

constexpr int64_t kBetweenCallsMs = 1000;
constexpr int kGroups[] = {RTNLGRP_LINK, RTNLGRP_TC};

uloop_timeout g_timer;
int64_t g_last_call;
void (*g_changed)();

void call(uloop_timeout*) {
    g_last_call = base::now_ms();
    g_changed();
}

void call_soon() {
    if (g_timer.pending) return;
    const auto wait = g_last_call + kBetweenCallsMs - base::now_ms();
    uloop_timeout_set(&g_timer, static_cast<int>(std::max<int64_t>(wait, 0)));
}

void take(const nlmsghdr& message) {
    if (message.nlmsg_pid != route::port()) call_soon();
}

KernelNews g_news(take, call_soon);

}  // namespace

bool links_start(void (*changed)()) {
    g_changed = changed;
    g_timer.cb = call;
    return g_news.start(NETLINK_ROUTE, kGroups);
}

void links_stop() {
    uloop_timeout_cancel(&g_timer);
    g_news.stop();
}

}  // namespace platform::platformd::enforce
