#include "board/mgmt_port_flow.h"

#include <cstdio>
#include <cstring>

#include "board/devicetree.h"
#include "zu_services.h"

namespace {

constexpr char kForwardingEngineBoard[] = "vakor";
constexpr uint32_t kCpuPacketsPerSecond = 15000;

struct PortFlow {
    uint32_t port;
    uint32_t value;
};

constexpr PortFlow kPortFlows[] = {
    {21, 6},   // FTP
    {22, 6},   // SSH
    {23, 7},   // Telnet
    {69, 6},   // TFTP
    {80, 7},   // HTTP
    {443, 7},  // HTTPS
};

/// Only the first line of the property's first entry counts, and of it what is read.
bool has_forwarding_engine() {
    board::Property compatible = board::read_property("compatible");
    compatible.text[std::strcspn(compatible.text, "\n")] = '\0';
    return std::strstr(compatible.text, kForwardingEngineBoard) != nullptr;
}

/// Result of the last call; the others are not looked at.
int32_t set_port_flows() {
    int32_t last = 0;
    for (const auto& [port, value] : kPortFlows)
        zu_netif_set_dport_flow(port, 0, value);
    for (const auto& [port, value] : kPortFlows)
        last = zu_netif_set_sport_flow(port, 0, value);
    return last;
}

}  // namespace

int32_t mgmt_port_flow_init() {
    if (has_forwarding_engine()) {
        set_port_flows();
        // The text names another call than the one that failed; log collectors match it as it is.
        if (const int32_t ret = zu_netif_set_cpu_rate(kCpuPacketsPerSecond); ret != 0)
            std::printf("zu_netif_set_dport_flow fail, ret=%d\n", ret);
    } else if (const int32_t ret = set_port_flows(); ret != 0) {
        std::printf("zu_netif_set_d/sport_flow fail, ret=%d\n", ret);
    }
    return 0;
}
