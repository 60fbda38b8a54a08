#include "uplink/lan_bridge.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "uplink/uplink_uci.h"

namespace appcfg::uplink {
namespace {

constexpr char kPorts[] = "ports";

bool is_named(uci_section* section, const char* name) {
    const char* own = option_string(section, "name");
    return own && std::strcmp(own, name) == 0;
}

}  // namespace

void name_port(int32_t number, PortName& name) {
    std::snprintf(name, sizeof(name), "eth%d", number - 1);
}

uci_section* find_lan_bridge(uci_package* network) {
    if (uci_section* bridge = find_section(network, "br_lan")) return bridge;
    uci_element* element;
    uci_foreach_element(&network->sections, element) {
        uci_section* section = uci_to_section(element);
        if (is_of_type(section, "device") && is_named(section, "br-lan")) return section;
    }
    return nullptr;
}

bool is_lan_port(const char* name) {
    return std::string_view(name).starts_with("eth");
}

void add_bridge_ports(uci_section* bridge, const Names& names) {
    for (const char* name : names)
        if (is_lan_port(name) && !has_list_value(bridge, kPorts, name))
            add_list_value(bridge, kPorts, name);
}

void remove_bridge_ports(uci_section* bridge, const Names& names) {
    for (const char* name : names)
        if (is_lan_port(name)) remove_list_value(bridge, kPorts, name);
}

bool remove_bond_port(uci_section* bridge) {
    return has_list_value(bridge, kPorts, kBond) && remove_list_value(bridge, kPorts, kBond);
}

void read_bridge_ports(uci_section* bridge, Names& ports) {
    read_names(bridge, kPorts, ports);
}

}  // namespace appcfg::uplink
