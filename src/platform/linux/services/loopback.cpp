#include <array>

#include "platform/linux/platformd/service.h"
#include "platform/linux/services/loopback_closed.h"
#include "platform/linux/services/loopback_ports.h"
#include "platform/linux/services/loopback_rules.h"

namespace platform::platformd::loopback {

/// Says that a LAN port is in a loop, or not, beside what is found: for machines without ports.
constexpr Call kLoopSet{"platformd_loopback_state_set", kLoopbackResultLayout};

Settings g_settings;
std::array<uint32_t, kLoopbackLanPorts> g_said;

// What was said of loops stays.
void reset() {
    g_settings = {};
}

int32_t time_set(st_loopback_detection_time& time) {
    g_settings.time = time;
    return 0;
}

int32_t start(st_loopback_detection_attr& attr) {
    if (!makes_sense(attr)) return -1;
    g_settings.ports[attr.port] = attr;
    return 0;
}

uint32_t status_of(uint32_t port) {
    return in_loop(port) ? 1 : g_said[port];
}

int32_t result_get(st_loopback_detection_result& result) {
    if (result.port >= g_said.size()) return -1;
    result.status = status_of(result.port);
    return 0;
}

int32_t state_set(st_loopback_detection_result& result) {
    if (result.port >= g_said.size()) return -1;
    g_said[result.port] = result.status;
    return 0;
}

void told(std::string& out) {
    state_record(out, "time", kLoopbackTimeLayout, &g_settings.time);
    for (const auto& [port, attr] : g_settings.ports)
        state_record(out, "detection", kLoopbackAttrLayout, &attr);
}

void print(std::string& out) {
    told(out);
    for (uint32_t port = 0; port < g_said.size(); ++port)
        state_line(out, "loop port=%u status=%u", port, status_of(port));
    print_ports(out);
}

void render(enforce::RuleText& text) {
    render(g_settings, gateway_number(), text);
}

void follow() {
    follow(g_settings);
}

void repeat(CallList& calls) {
    calls.add(kLoopbackTimeSet, g_settings.time);
    for (const auto& [port, attr] : g_settings.ports)
        calls.add(kLoopbackStart, attr);
    for (uint32_t port = 0; port < g_said.size(); ++port)
        if (g_said[port] != 0) calls.add(kLoopSet, {port, g_said[port]});
    repeat_closed(calls);
}

constexpr enforce::OwnedChain kChains[] = {kProbes};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};
constexpr enforce::Outside kOutside{.follow = follow, .observe = observe, .release = release};

constexpr ServiceCall kCalls[] = {
    service_call<time_set>(kLoopbackTimeSet),
    service_call<start>(kLoopbackStart),
    service_question<result_get>(kLoopbackResultGet),
    service_call<state_set>(kLoopSet),
    service_call<set_closed>(kPortClosed),
};

ServiceRegistration g_registration({.name = "loopback",
                                    .init = "zu_netapp_loopback_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told,
                                    .rules = &kRules,
                                    .outside = &kOutside,
                                    .repeat = repeat});

}  // namespace platform::platformd::loopback
