#include "platform/linux/enforce/bridge_port.h"

#include <fcntl.h>
#include <linux/if_bridge.h>
#include <net/if.h>

#include <cstdlib>
#include <string_view>

#include "base/unique_fd.h"

namespace platform::platformd::enforce {

namespace {

/// A word that the kernel tells of a device; empty when it tells none.
std::string fact(const std::string& device, const char* name) {
    const auto path = "/sys/class/net/" + device + '/' + name;
    const base::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char text[32];
    const auto size = fd ? read(fd.get(), text, sizeof(text)) : 0;
    const std::string_view all(text, size > 0 ? static_cast<size_t>(size) : 0);
    return std::string(all.substr(0, all.find('\n')));
}

}  // namespace

// With its link the kernel itself closes a port and opens it.
BridgePort bridge_port(const std::string& device) {
    if (if_nametoindex(device.c_str()) == 0) return BridgePort::Foreign;
    const auto link = fact(device, "operstate"), state = fact(device, "brport/state");
    if ((link != "up" && link != "unknown") ||
        fact(device, "brport/bridge/bridge/stp_state") != "0")
        return BridgePort::Foreign;
    return atoi(state.c_str()) == BR_STATE_DISABLED ? BridgePort::Closed : BridgePort::Open;
}

unsigned bridge_of(const std::string& device) {
    const auto index = if_nametoindex(device.c_str()) == 0 ? "" : fact(device, "master/ifindex");
    return static_cast<unsigned>(strtoul(index.c_str(), nullptr, 10));
}

}  // namespace platform::platformd::enforce
