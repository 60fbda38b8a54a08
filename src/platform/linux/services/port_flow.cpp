#include <map>

#include "platform/linux/direct_calls.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::port_flow {

using Flows = std::map<uint32_t, st_port_flow>;  // by port

Flows g_destination;
Flows g_source;
uint32_t g_cpu_rate;

int32_t set_flow(Flows& flows, const st_port_flow& flow) {
    if (flow.port > UINT16_MAX) return -1;
    flows.insert_or_assign(flow.port, flow);
    return 0;
}

int32_t set_dport_flow(st_port_flow& flow) {
    return set_flow(g_destination, flow);
}

int32_t set_sport_flow(st_port_flow& flow) {
    return set_flow(g_source, flow);
}

int32_t set_cpu_rate(st_cpu_rate& rate) {
    g_cpu_rate = rate.rate;
    return 0;
}

void print(std::string& out) {
    state_line(out, "cpu_rate=%u", g_cpu_rate);
    for (const auto& [port, flow] : g_destination)
        state_record(out, "dport", kPortFlowLayout, &flow);
    for (const auto& [port, flow] : g_source)
        state_record(out, "sport", kPortFlowLayout, &flow);
}

constexpr ServiceCall kCalls[] = {
    service_call<set_dport_flow>(kSetDportFlow),
    service_call<set_sport_flow>(kSetSportFlow),
    service_call<set_cpu_rate>(kSetCpuRate),
};

ServiceRegistration g_registration({.name = "port_flow", .calls = kCalls, .print = print});

}  // namespace platform::platformd::port_flow
