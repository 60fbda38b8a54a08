#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Which network devices lead where, for all services that act on devices: what was declared to the
// netif service, and where that says nothing, how Linux routers are usually set up.

namespace platform::platformd::netif {

/// The devices that lead to the provider; they need not exist.
std::vector<std::string> wan_devices();

/// The device of the LAN port with that number, from 0; empty when there is none.
std::string lan_port(uint32_t number);

/// The same of the wireless networks.
std::string wlan(uint32_t number);

}  // namespace platform::platformd::netif
