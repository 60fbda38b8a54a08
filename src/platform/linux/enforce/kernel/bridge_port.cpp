#include "platform/linux/enforce/bridge_port.h"

#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netlink/attr.h>
#include <netlink/errno.h>

#include "platform/linux/enforce/kernel/route.h"

namespace platform::platformd::enforce {

namespace {

using Message = route::Held<nl_msg>;

/// A message about a device, empty if there is no memory for it.
Message link_message(int type, uint8_t family, unsigned device) {
    Message message(nlmsg_alloc_simple(type, 0));
    ifinfomsg header{};
    header.ifi_family = family;
    header.ifi_index = static_cast<int>(device);
    if (message && nlmsg_append(message.get(), &header, sizeof(header), NLMSG_ALIGNTO) != 0)
        message.reset();
    return message;
}

Message state_of(unsigned device, bool open) {
    auto message = link_message(RTM_SETLINK, AF_BRIDGE, device);
    auto* const port =
        message ? nla_nest_start(message.get(), IFLA_PROTINFO | NLA_F_NESTED) : nullptr;
    const uint8_t state = open ? BR_STATE_FORWARDING : BR_STATE_DISABLED;
    if (port && nla_put_u8(message.get(), IFLA_BRPORT_STATE, state) == 0)
        nla_nest_end(message.get(), port);
    return message;
}

Message forget_learnt(unsigned bridge) {
    auto message = link_message(RTM_NEWLINK, AF_UNSPEC, bridge);
    auto* const link = message ? nla_nest_start(message.get(), IFLA_LINKINFO) : nullptr;
    if (!link || nla_put_string(message.get(), IFLA_INFO_KIND, "bridge") != 0) return message;
    auto* const settings = nla_nest_start(message.get(), IFLA_INFO_DATA);
    if (settings && nla_put_flag(message.get(), IFLA_BR_FDB_FLUSH) == 0) {
        nla_nest_end(message.get(), settings);
        nla_nest_end(message.get(), link);
    }
    return message;
}

bool perform(const Message& message, std::string& error) {
    int status = -NLE_NOMEM;
    if (message && route::socket(&status)) status = route::request(message.get());
    if (status < 0) error = nl_geterror(status);
    return status >= 0;
}

}  // namespace

bool bridge_port_set(const std::string& device, bool open, std::string& error) {
    return perform(state_of(if_nametoindex(device.c_str()), open), error);
}

void bridge_port_forget(const std::string& device) {
    std::string error;
    perform(forget_learnt(bridge_of(device)), error);
}

}  // namespace platform::platformd::enforce
