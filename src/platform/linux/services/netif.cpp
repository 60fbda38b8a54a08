#include "platform/linux/services/netif_devices.h"

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <utility>

#include "base/names.h"
#include "platform/include/records/netif.h"
#include "platform/linux/enforce/applier.h"
#include "platform/linux/enforce/learnt.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/record_text.h"

namespace platform::platformd::netif {

constexpr size_t kMaxInterfaces = 64;

/// What `if_flag` says of interfaces that somebody has declared; those that the gateway knows from
/// the factory have 0.
constexpr uint32_t kDeclared = 1;

/// By `if_type`.
constexpr const char* kTypes[] = {"none", "ethernet", "fibre", "radio24", "radio58"};

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

/// Hosts whose flushes wait for the kernel to follow.
std::vector<base::MacAddress> g_to_forget;

std::string name_of(const ifinfo& interface) {
    return {interface.if_name, strnlen(interface.if_name, sizeof(interface.if_name))};
}

// One without a type has a name and nothing else yet.
bool is_interface(const ifinfo& interface) {
    const auto length = name_of(interface).size();
    if (length == 0 || length == sizeof(interface.if_name)) return false;
    if (interface.if_type >= std::size(kTypes)) return false;
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
    if (flush.kind != kLearntFromHost) return -1;
    const auto host = std::to_array(flush.mac);
    if (enforce::is_on() && std::ranges::find(g_to_forget, host) == g_to_forget.end())
        g_to_forget.push_back(host);
    return 0;
}

// Rules that were made before are in force now: what is learnt anew meets them.
void follow() {
    if (!g_to_forget.empty()) enforce::forget_hosts(std::exchange(g_to_forget, {}));
}

const char* role_name(uint32_t role) {
    if (role == kInterfaceLan) return "lan";
    return role == kInterfacePon ? "pon" : "wan_root";
}

void print(std::string& out) {
    for (const auto& [name, known] : g_interfaces) {
        std::string quoted;
        append_quoted(quoted, name);
        state_line(out, "interface %s role=%s type=%s port=%u alport=0x%x declared=%u",
                   quoted.c_str(), role_name(known.if_role), kTypes[known.if_type], known.if_port,
                   known.alport, known.if_flag);
    }
}

void repeat(CallList& calls) {
    for (const auto& [name, known] : known_from_the_factory())
        if (!g_interfaces.contains(name)) calls.add(kInterfaceDel, known);
    for (const auto& [name, known] : g_interfaces) {
        if (known.if_flag != kDeclared) continue;
        if (known_from_the_factory().contains(name)) calls.add(kInterfaceDel, known);
        calls.add(kInterfaceAdd, known);
    }
}

/// In the order in which a person would count them: eth2 before eth10.
bool counted_before(const std::string& one, const std::string& other) {
    return std::pair(one.size(), one) < std::pair(other.size(), other);
}

std::vector<std::string> bridge_members() {
    const auto path = std::string("/sys/class/net/") + enforce::kLanBridge + "/brif";
    std::vector<std::string> names;
    auto* folder = opendir(path.c_str());
    if (!folder) return names;
    while (const auto* entry = readdir(folder))
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    closedir(folder);
    std::ranges::sort(names, counted_before);
    return names;
}

constexpr enforce::Outside kOutside{.follow = follow};

constexpr ServiceCall kCalls[] = {
    service_call<add>(kInterfaceAdd),
    service_call<del>(kInterfaceDel),
    service_question<find_by_port>(kInterfaceFindByPort),
    service_call<learnt_flush>(kLearntFlush),
};

ServiceRegistration g_registration(
    {.name = "netif", .calls = kCalls, .print = print, .outside = &kOutside, .repeat = repeat});

// What is declared may be no name of a device.
std::vector<std::string> wan_devices() {
    std::vector<std::string> names;
    for (const auto& [name, known] : g_interfaces)
        if (known.alport == kWanPort && base::is_interface_name(name)) names.push_back(name);
    return names;
}

std::string lan_port(uint32_t number) {
    for (const auto& [name, known] : g_interfaces)
        if (known.if_role == kInterfaceLan && known.if_type == kInterfaceEthernet &&
            known.if_port == number)
            return name;
    const auto members = bridge_members();
    return number < members.size() ? members[number] : std::string();
}

std::string wlan(uint32_t number) {
    const auto port = uint64_t{kRadio24Port} << std::min(number, 32U);
    for (const auto& [name, known] : g_interfaces)
        if (known.if_role == kInterfaceLan && known.alport == port) return name;
    auto members = bridge_members();
    std::erase_if(members, [](const std::string& name) { return !name.starts_with("wlan"); });
    return number < members.size() ? members[number] : std::string();
}

}  // namespace platform::platformd::netif
