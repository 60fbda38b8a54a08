#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/include/records/qos.h"

// What the platform has been told of QoS.

namespace platform::platformd::qos {

inline constexpr size_t kQueues = 8;

/// What headers have room for.
inline constexpr uint32_t kLastDscp = 63;
inline constexpr uint32_t kLastVlan = 4095;

struct Direction {
    const char* name;
    uint32_t queue_port;      ///< `ui_port` of its queues
    uint32_t flow_direction;  ///< `em_direction` of its flows
    zu_sal_qos_queue_attr_s queues[kQueues];
    std::vector<zu_sal_qos_flow_queue_s> flows;
    st_smart_qos_profile smart;
};

struct Qos {
    zu_sal_qos_uplink_s uplink;
    st_downlink_qos downlink;
    Direction directions[2] = {{"upstream", kWanPort, kUpstream, {}, {}, {}},
                               {"downlink", 0, kDownlink, {}, {}, {}}};
    std::map<std::string, uint32_t> apps;  // queues by the names of applications
    std::map<uint32_t, zu_qos_item_attr_s> items;
    zu_sal_qos_dslimited_s limits;
    std::map<std::string, st_interface_speed> speeds;
    st_tr069_identify tr069;
    st_voip_identify voip;

    Direction& up() { return directions[0]; }
    Direction& down() { return directions[1]; }
    const Direction& up() const { return directions[0]; }
    const Direction& down() const { return directions[1]; }
};

/// Empty for a text that is too long to be one.
template <size_t Size>
std::string text_of(const char (&text)[Size]) {
    const auto length = strnlen(text, Size);
    return {text, length < Size ? length : 0};
}

}  // namespace platform::platformd::qos
