#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform::platformd::qos {

/// Which devices lead where.
struct Devices {
    /// By its number from 0; empty when there is none.
    std::string (*lan_port)(uint32_t number);
    std::string (*wlan)(uint32_t number);
    /// Whether it leads to the provider.
    bool (*is_wan)(const std::string& name);
};

/// What the state asks for and the kernel cannot do, a line each.
using LeftOut = std::vector<std::string>;

}  // namespace platform::platformd::qos
