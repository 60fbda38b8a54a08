#include "platform/linux/services/port_flow_rules.h"

#include <algorithm>

namespace platform::platformd::port_flow {

namespace {

constexpr char kWithPorts[] = "meta l4proto { tcp, udp } th";

std::string ports_of(const Flows& flows) {
    std::string ports;
    for (const auto& [port, flow] : flows)
        ports += (ports.empty() ? "" : ", ") + std::to_string(port);
    return ports;
}

/// "PORT : MAJOR:MINOR", the kernel's way to write a priority.
std::string classes_of(const Flows& flows) {
    constexpr int kMinorBits = 16;
    std::string classes;
    for (const auto& [port, flow] : flows) {
        char text[64];
        snprintf(text, sizeof(text), "%s%u : %x:%x", classes.empty() ? "" : ", ", port,
                 flow.value >> kMinorBits, flow.value & UINT16_MAX);
        classes += text;
    }
    return classes;
}

std::string above(uint32_t rate) {
    constexpr uint32_t kBurstShare = 10;
    return "limit rate over " + std::to_string(rate) + "/second burst " +
           std::to_string(std::max(rate / kBurstShare, 1U)) + " packets counter drop";
}

}  // namespace

// Management has a rate of its own, so that neither a flood of other packets keeps the owner out
// nor one of his keeps everybody else from the gateway.
void render(const PortFlow& state, enforce::RuleText& text) {
    if (state.cpu_rate != 0) {
        const auto limit = above(state.cpu_rate);
        text.rule(kCpuIn, "iifname \"lo\" accept");
        if (const auto ports = ports_of(state.destination); !ports.empty()) {
            text.rule(kCpuIn, "%s dport { %s } %s comment \"management\"", kWithPorts,
                      ports.c_str(), limit.c_str());
            text.rule(kCpuIn, "%s dport { %s } accept", kWithPorts, ports.c_str());
        }
        text.rule(kCpuIn, "%s comment \"other\"", limit.c_str());
    }
    if (const auto classes = classes_of(state.source); !classes.empty())
        text.rule(kManagementOut, "meta l4proto { tcp, udp } meta priority set th sport map { %s }",
                  classes.c_str());
}

}  // namespace platform::platformd::port_flow
