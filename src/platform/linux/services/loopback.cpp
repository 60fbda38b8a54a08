#include <algorithm>
#include <array>
#include <map>

#include "platform/include/records/loopback.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::loopback {

constexpr uint32_t kLargestVlan = 4094;

/// Plugs or pulls a cable loop: what this machine's ports cannot find by themselves.
constexpr Call kLoopSet{"platformd_loopback_state_set", kLoopbackResultLayout};

st_loopback_detection_time g_time;
std::map<uint32_t, st_loopback_detection_attr> g_ports;
std::array<uint32_t, kLoopbackLanPorts> g_states;

// The cables stay where they are.
void reset() {
    g_time = {};
    g_ports.clear();
}

int32_t time_set(st_loopback_detection_time& time) {
    g_time = time;
    return 0;
}

bool makes_sense(const st_loopback_detection_attr& attr) {
    return attr.enable <= 1 && attr.port < kLoopbackPorts && attr.ethtype <= UINT16_MAX &&
           attr.tagnum <= std::size(attr.tag) &&
           std::ranges::all_of(attr.tag, [](uint32_t tag) { return tag <= kLargestVlan; });
}

int32_t start(st_loopback_detection_attr& attr) {
    if (!makes_sense(attr)) return -1;
    g_ports[attr.port] = attr;
    return 0;
}

int32_t result_get(st_loopback_detection_result& result) {
    if (result.port >= g_states.size()) return -1;
    result.status = g_states[result.port];
    return 0;
}

int32_t state_set(st_loopback_detection_result& result) {
    if (result.port >= g_states.size()) return -1;
    g_states[result.port] = result.status;
    return 0;
}

void told(std::string& out) {
    state_record(out, "time", kLoopbackTimeLayout, &g_time);
    for (const auto& [port, attr] : g_ports)
        state_record(out, "detection", kLoopbackAttrLayout, &attr);
}

void print(std::string& out) {
    told(out);
    for (size_t port = 0; port < g_states.size(); ++port)
        state_line(out, "loop port=%zu status=%u", port, g_states[port]);
}

constexpr ServiceCall kCalls[] = {
    service_call<time_set>(kLoopbackTimeSet),
    service_call<start>(kLoopbackStart),
    service_call<result_get>(kLoopbackResultGet),
    service_call<state_set>(kLoopSet),
};

ServiceRegistration g_registration({.name = "loopback",
                                    .init = "zu_netapp_loopback_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told});

}  // namespace platform::platformd::loopback
