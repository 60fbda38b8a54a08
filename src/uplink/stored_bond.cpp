#include "uplink/stored_bond.h"

#include <cstdio>
#include <cstring>
#include <span>

#include "uplink/lan_bridge.h"
#include "uplink/uplink_answers.h"
#include "uplink/uplink_testing.h"
#include "uplink/uplink_uci.h"

namespace appcfg::uplink {
namespace {

/// Appends the section `la`.
Outcome add_la(uci_package* network, uci_section*& la) {
    uci_section* added = nullptr;
    if (uci_add_section(network->ctx, network, "interface", &added) != UCI_OK)
        return failed("Failed to add interface section");
    uci_ptr place{};
    place.p = network;
    place.s = added;
    place.value = "la";
    if (uci_rename(network->ctx, &place) != UCI_OK) return failed("Failed to rename section");
    la = find_section(network, "la");
    return la ? Outcome{} : failed("Failed to lookup la section");
}

void remove_slaves(uci_section* la) {
    if (option_string(la, "slaves")) {
        delete_option(la, "slaves");
        return;
    }
    Names old;
    read_names(la, "slaves", old);
    for (const char* slave : old)
        remove_list_value(la, "slaves", slave);
}

bool replace_slaves(uci_section* la, const Names& slaves) {
    if (slaves.empty()) return false;
    remove_slaves(la);
    for (const char* slave : slaves)
        if (!add_list_value(la, "slaves", slave)) return false;
    return true;
}

struct Setting {
    const char* option;
    const char* value;
    const char* failure;
};

Outcome set_options(uci_section* section, std::span<const Setting> settings) {
    for (const auto& [option, value, failure] : settings)
        if (!set_option(section, option, value)) return failed(failure);
    return {};
}

Outcome tune_la(uci_section* la, const LaRequest& request) {
    for (const auto& [option, failure, member] : kLaTuning) {
        const char* value = request.*member;
        if (value && *value && !set_option(la, option, value)) return failed(failure);
    }
    return {};
}

/// The bond has the same private address on every gateway.
Outcome set_la_options(uci_section* la, const LaRequest& request, const Names& slaves) {
    const Setting kind[] = {
        {"bonding_policy", request.bonding_policy, "Failed to set bonding_policy"},
        {"all_slaves_active", "0", "Failed to set all_slaves_active"},
        {"link_monitoring", "off", "Failed to set link_monitoring"},
    };
    static constexpr Setting kAddress[] = {
        {"ipaddr", "172.222.2.3", "Failed to set ipaddr"},
        {"netmask", "255.255.255.0", "Failed to set netmask"},
    };
    if (!set_option(la, "proto", "bonding")) return failed("Failed to set proto");
    if (!replace_slaves(la, slaves)) return failed("Failed to set slaves");
    if (const Outcome set = set_options(la, kind); set.reason) return set;
    if (const Outcome set = tune_la(la, request); set.reason) return set;
    return set_options(la, kAddress);
}

/// True for a device that carries a WAN connection.
bool is_wan_device(uci_section* section) {
    if (!is_of_type(section, "device")) return false;
    const char* name = option_string(section, "name");
    if (name && std::strstr(name, "wan")) return true;
    for (const char* option : {"service_mode", "IpProtocolType", "lkname"})
        if (has_option(section, option)) return true;
    return false;
}

void put_bond_below_wan(uci_package* network) {
    uci_element* element;
    uci_foreach_element(&network->sections, element) {
        uci_section* section = uci_to_section(element);
        if (is_wan_device(section)) set_option(section, "ifname", kBond);
    }
}

void exchange_bridge_ports(uci_package* network, const Names& freed, const Names& slaves) {
    uci_section* bridge = find_lan_bridge(network);
    if (!bridge) return;
    add_bridge_ports(bridge, freed);
    remove_bridge_ports(bridge, slaves);
    remove_bond_port(bridge);
}

/// The bond's slaves as the kernel has them, none without a bond.
void read_kernel_slaves(Names& slaves) {
    char line[256];
    std::FILE* file = std::fopen(surroundings.bond_slaves, "re");
    if (!file) return;
    if (std::fgets(line, sizeof(line), file)) {
        line[std::strcspn(line, "\r\n")] = '\0';
        slaves.add(line);
    }
    std::fclose(file);
}

bool la_section_remove(uci_package* network) {
    uci_section* la = find_la_interface(network);
    if (!la) return false;
    Names slaves;
    read_names(la, "slaves", slaves);
    if (slaves.empty()) read_kernel_slaves(slaves);
    delete_section(la);
    if (uci_section* bridge = find_lan_bridge(network)) {
        remove_bond_port(bridge);
        add_bridge_ports(bridge, slaves);
    }
    return true;
}

}  // namespace

uci_section* find_la_interface(uci_package* network) {
    uci_element* element;
    uci_foreach_element(&network->sections, element) {
        uci_section* section = uci_to_section(element);
        if (is_of_type(section, "interface") && std::strcmp(element->name, "la") == 0)
            return section;
    }
    return nullptr;
}

bool la_interface_exists() {
    const UciContext context = uci_new_context();
    if (!context) return false;
    UciFile network(context.get(), "network");
    return network.load() && find_la_interface(network.package());
}

void read_stored_slaves(Names& slaves) {
    slaves.clear();
    const UciContext context = uci_new_context();
    if (!context) return;
    UciFile network(context.get(), "network");
    uci_section* la = network.load() ? find_la_interface(network.package()) : nullptr;
    if (la) read_names(la, "slaves", slaves);
}

Outcome store_bond(uci_context* context, const LaRequest& request, const Names& slaves,
                   const char* previous_port) {
    UciFile network(context, "network");
    if (!network.load_for_change()) return failed(kNoNetwork);
    uci_section* la = find_section(network.package(), "la");
    Names freed;
    if (la) {
        read_names(la, "slaves", freed);
    } else {
        freed.add(previous_port);
        if (const Outcome added = add_la(network.package(), la); added.reason) return added;
    }
    if (const Outcome set = set_la_options(la, request, slaves); set.reason) return set;
    exchange_bridge_ports(network.package(), freed, slaves);
    put_bond_below_wan(network.package());
    return network.commit() ? Outcome{} : failed(kNoNetwork);
}

BondRemoval remove_stored_bond(uci_context* context) {
    UciFile network(context, "network");
    if (!network.load_for_change()) return BondRemoval::NotLoaded;
    if (!la_section_remove(network.package())) return BondRemoval::NoBond;
    return network.commit() ? BondRemoval::Removed : BondRemoval::NotStored;
}

}  // namespace appcfg::uplink
