#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform::platformd::qos {

/// Devices by their numbers from 0; empty when there is none.
struct Devices {
    std::string (*lan_port)(uint32_t number);
    std::string (*wlan)(uint32_t number);
};

/// What the state asks for and the kernel cannot do, a line each.
using LeftOut = std::vector<std::string>;

}  // namespace platform::platformd::qos
