#pragma once

#include <netlink/cache.h>
#include <netlink/msg.h>
#include <netlink/route/action.h>
#include <netlink/route/class.h>
#include <netlink/route/classifier.h>
#include <netlink/route/link.h>
#include <netlink/route/qdisc.h>
#include <netlink/socket.h>

#include <memory>

// The one socket by which platformd changes devices and queues: the kernel tells of each change
// whose it was, and our own are no news to us.

namespace platform::platformd::enforce::route {

/// Null, with an error of libnl's in `error`, when there is none.
nl_sock* socket(int* error = nullptr);

/// What the kernel calls the socket.
uint32_t port();

/// Sends a request and waits for the kernel's word: 0, or a negative error of libnl's.
int request(nl_msg* message);

struct Release {
    void operator()(nl_cache* cache) const { nl_cache_free(cache); }
    void operator()(nl_msg* message) const { nlmsg_free(message); }
    void operator()(rtnl_link* link) const { rtnl_link_put(link); }
    void operator()(rtnl_qdisc* qdisc) const { rtnl_qdisc_put(qdisc); }
    void operator()(rtnl_class* one) const { rtnl_class_put(one); }
    void operator()(rtnl_cls* filter) const { rtnl_cls_put(filter); }
    void operator()(rtnl_act* action) const { rtnl_act_put(action); }
};

template <class Object>
using Held = std::unique_ptr<Object, Release>;

}  // namespace platform::platformd::enforce::route
