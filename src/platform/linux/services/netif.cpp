#include "platform/include/records/netif.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "platform/linux/platformd/service.h"

namespace platform::platformd::netif {

constexpr size_t kMaxInterfaces = 64;

/// What `if_flag` says of interfaces that somebody has declared; those that the gateway knows from
/// the factory have 0.
constexpr uint32_t kDeclared = 1;

using Interfaces = std::map<std::string, ifinfo>;

/// From the factory an Ethernet port leads to the provider.
Interfaces known_from_the_factory() {
    return {{"wan0",
             {.if_name = "wan0",
              .if_role = kInterfaceWanRoot,
              .if_flag = 0,
              .reserved40 = 0,
              .if_type = kInterfaceEthernet,
              .reserved45 = 0,
              .if_port = 0,
              .alport = kWanPort,
              .reserved52 = 0}}};
}

Interfaces g_interfaces = known_from_the_factory();

std::string name_of(const ifinfo& interface) {
    return {interface.if_name, strnlen(interface.if_name, sizeof(interface.if_name))};
}

// One without a type has a name and nothing else yet.
bool is_interface(const ifinfo& interface) {
    const auto length = name_of(interface).size();
    if (length == 0 || length == sizeof(interface.if_name)) return false;
    if (interface.if_type > kInterfaceRadio58) return false;
    return interface.if_role == kInterfaceLan || interface.if_role == kInterfacePon ||
           interface.if_role == kInterfaceWanRoot;
}

int32_t add(ifinfo& interface) {
    if (!is_interface(interface) || g_interfaces.size() == kMaxInterfaces) return -1;
    auto declared = interface;
    declared.if_flag = kDeclared;
    return g_interfaces.emplace(name_of(interface), declared).second ? 0 : -1;
}

int32_t del(ifinfo& interface) {
    return g_interfaces.erase(name_of(interface)) > 0 ? 0 : -1;
}

// Names decide when several stand for one port.
int32_t find_by_port(ifinfo& interface) {
    if (interface.alport == 0) return -1;
    for (const auto& [name, known] : g_interfaces) {
        if (known.alport != interface.alport || known.if_type != interface.if_type) continue;
        interface = known;
        return 0;
    }
    return -1;
}

// What was learnt comes back with the host's next frame, so nothing is left to show.
int32_t learnt_flush(st_lrn_flush& flush) {
    return flush.kind == kLearntFromHost ? 0 : -1;
}

void print(std::string& out) {
    for (const auto& [name, interface] : g_interfaces)
        state_record(out, "interface", kInterfaceLayout, &interface);
}

constexpr ServiceCall kCalls[] = {
    service_call<add>(kInterfaceAdd),
    service_call<del>(kInterfaceDel),
    service_call<find_by_port>(kInterfaceFindByPort),
    service_call<learnt_flush>(kLearntFlush),
};

ServiceRegistration g_registration({.name = "netif", .calls = kCalls, .print = print});

}  // namespace platform::platformd::netif
