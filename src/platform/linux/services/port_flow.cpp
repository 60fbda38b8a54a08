#include "platform/linux/platformd/service.h"
#include "platform/linux/services/port_flow_rules.h"

namespace platform::platformd::port_flow {

PortFlow g_state;

int32_t set_flow(Flows& flows, const st_port_flow& flow) {
    if (flow.port > UINT16_MAX) return -1;
    flows.insert_or_assign(flow.port, flow);
    return 0;
}

int32_t set_dport_flow(st_port_flow& flow) {
    return set_flow(g_state.destination, flow);
}

int32_t set_sport_flow(st_port_flow& flow) {
    return set_flow(g_state.source, flow);
}

int32_t set_cpu_rate(st_cpu_rate& rate) {
    g_state.cpu_rate = rate.rate;
    return 0;
}

void print(std::string& out) {
    state_line(out, "cpu_rate=%u", g_state.cpu_rate);
    for (const auto& [port, flow] : g_state.destination)
        state_record(out, "dport", kPortFlowLayout, &flow);
    for (const auto& [port, flow] : g_state.source)
        state_record(out, "sport", kPortFlowLayout, &flow);
}

void render(enforce::RuleText& text) {
    render(g_state, text);
}

void repeat(CallList& calls) {
    calls.add(kSetCpuRate, {g_state.cpu_rate});
    for (const auto& [port, flow] : g_state.destination)
        calls.add(kSetDportFlow, flow);
    for (const auto& [port, flow] : g_state.source)
        calls.add(kSetSportFlow, flow);
}

constexpr enforce::OwnedChain kChains[] = {kCpuIn, kManagementOut};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};

constexpr ServiceCall kCalls[] = {
    service_call<set_dport_flow>(kSetDportFlow),
    service_call<set_sport_flow>(kSetSportFlow),
    service_call<set_cpu_rate>(kSetCpuRate),
};

ServiceRegistration g_registration({.name = "port_flow",
                                    .calls = kCalls,
                                    .print = print,
                                    .told = print,
                                    .rules = &kRules,
                                    .repeat = repeat});

}  // namespace platform::platformd::port_flow
