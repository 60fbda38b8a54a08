#include "uplink/link_aggregation.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/bounded.h"
#include "core/reply_buffer.h"
#include "uplink/uplink_testing.h"
#include "zu_os.h"

using namespace appcfg;

namespace {

constexpr uint32_t kSlaves = 2;

using PortName = char[16];

/// The port that was the WAN uplink so far, empty if there was none.
void name_wan_port(uci_section* auto_wan, PortName& port) {
    port[0] = '\0';
    if (!auto_wan) return;
    const char* mode = option_string(auto_wan, "cfg_mode");
    const char* chosen = option_string(auto_wan, "cfg_linkid");
    if (!mode || std::strcmp(mode, "1") != 0 || !chosen)
        chosen = option_string(auto_wan, "current_uplinkid");
    const int32_t number = zu_os_strtol(chosen, nullptr, 10);
    if (number > 0) std::snprintf(port, sizeof(port), "eth%d", number - 1);
}

/// Fixes the WAN uplink to link 1, so that detection does not look for another.
bool pin_wan_detection(uci_context* context, PortName& previous_port) {
    UciFile auto_wan(context, "auto_wan");
    if (!auto_wan.load_for_change()) return false;
    uci_section* section = find_section(auto_wan.package(), "auto_wan");
    name_wan_port(section, previous_port);
    set_option(section, "cfg_mode", "1");
    set_option(section, "cfg_linkid", "1");
    return auto_wan.commit();
}

/// Appends the section `la`. Returns what failed, null if nothing.
const char* add_la(uci_package* package, uci_section*& la) {
    uci_section* added = nullptr;
    if (uci_add_section(package->ctx, package, "interface", &added) != UCI_OK)
        return "Failed to add interface section";
    uci_ptr place{};
    place.p = package;
    place.s = added;
    place.value = "la";
    if (uci_rename(package->ctx, &place) != UCI_OK) return "Failed to rename section";
    la = find_section(package, "la");
    return la ? nullptr : "Failed to lookup la section";
}

void remove_slaves(uci_section* la) {
    if (option_string(la, "slaves")) {
        delete_option(la, "slaves");
        return;
    }
    Text old;
    option_text(la, "slaves", old);
    for (Words words(old); const char* slave = words.next();)
        remove_list_value(la, "slaves", slave);
}

bool replace_slaves(uci_section* la, const char* slaves) {
    Words words(slaves);
    const char* slave = words.next();
    if (!slave) return false;
    remove_slaves(la);
    for (; slave; slave = words.next())
        if (add_list_value(la, "slaves", slave) != UCI_OK) return false;
    return true;
}

/// Returns what failed, null if nothing.
const char* tune_la(uci_section* la, const LaRequest& request) {
    for (size_t i = 0; i < std::size(kLaTuning); ++i) {
        const char* value = request.tuning[i];
        if (value && *value && set_option(la, kLaTuning[i].option, value) != UCI_OK)
            return kLaTuning[i].failure;
    }
    return nullptr;
}

/// Returns what failed, null if nothing. The bond has the same private address on every gateway.
const char* set_la_options(uci_section* la, const LaRequest& request) {
    if (set_option(la, "proto", "bonding") != UCI_OK) return "Failed to set proto";
    if (!replace_slaves(la, request.slaves)) return "Failed to set slaves";
    if (set_option(la, "bonding_policy", request.bonding_policy) != UCI_OK)
        return "Failed to set bonding_policy";
    if (set_option(la, "all_slaves_active", "0") != UCI_OK)
        return "Failed to set all_slaves_active";
    if (set_option(la, "link_monitoring", "off") != UCI_OK) return "Failed to set link_monitoring";
    if (const char* failure = tune_la(la, request)) return failure;
    if (set_option(la, "ipaddr", "172.222.2.3") != UCI_OK) return "Failed to set ipaddr";
    if (set_option(la, "netmask", "255.255.255.0") != UCI_OK) return "Failed to set netmask";
    return nullptr;
}

void put_bond_below_wan(uci_package* package) {
    uci_element* element;
    uci_foreach_element(&package->sections, element) {
        uci_section* section = uci_to_section(element);
        if (is_wan_device(section)) set_option(section, "ifname", kBond);
    }
}

Outcome store_bond(uci_context* context, const LaRequest& request, const char* previous_port) {
    UciFile network(context, "network");
    if (!network.load_for_change()) return failed(kNoNetwork);
    uci_section* la = find_section(network.package(), "la");
    Text freed;
    if (la) {
        option_text(la, "slaves", freed);
    } else {
        copy_text(freed, previous_port);
        if (const char* failure = add_la(network.package(), la)) return failed(failure);
    }
    if (const char* failure = set_la_options(la, request)) return failed(failure);
    if (uci_section* bridge = find_lan_bridge(network.package())) {
        add_bridge_ports(bridge, freed);
        remove_bridge_ports(bridge, request.slaves);
        remove_list_value(bridge, "ports", kBond);
    }
    put_bond_below_wan(network.package());
    return network.commit() ? Outcome{} : failed(kNoNetwork);
}

/// The bond's slaves as the kernel has them, empty without a bond.
void read_kernel_slaves(Text& slaves) {
    slaves[0] = '\0';
    std::FILE* file = std::fopen(uplink_surroundings.bond_slaves, "re");
    if (!file) return;
    if (!std::fgets(slaves, sizeof(slaves), file)) slaves[0] = '\0';
    std::fclose(file);
    slaves[std::strcspn(slaves, "\r\n")] = '\0';
}

bool la_section_remove(uci_package* package) {
    uci_section* la = find_la_interface(package);
    if (!la) return false;
    Text slaves;
    option_text(la, "slaves", slaves);
    if (!*slaves) read_kernel_slaves(slaves);
    uci_ptr place{};
    place.p = package;
    place.s = la;
    uci_delete(package->ctx, &place);
    if (uci_section* bridge = find_lan_bridge(package)) {
        remove_list_value(bridge, "ports", kBond);
        add_bridge_ports(bridge, slaves);
    }
    return true;
}

/// Whether the change is stored does not matter: the bond has gone, and the detection service is
/// started in any case.
void rearm_wan_detection_after_bond(uci_context* context) {
    UciFile auto_wan(context, "auto_wan");
    if (!auto_wan.load_for_change()) return;
    rearm_wan_detection(find_section(auto_wan.package(), "auto_wan"));
    static_cast<void>(auto_wan.commit());
}

/// The number by which the kernel and the front ends know a policy; -1 if there is no such policy.
int policy_number(const char* name) {
    static constexpr std::string_view kNames[] = {
        "balance-rr", "active-backup", "balance-xor", "broadcast",
        "802.3ad",    "balance-tlb",   "balance-alb",
    };
    for (size_t number = 0; number < std::size(kNames); ++number)
        if (kNames[number] == name) return static_cast<int>(number);
    return -1;
}

/// "4" for eth3; false if the name is not that of a numbered port.
bool port_number(const char* name, PortName& number) {
    if (!is_lan_port(name)) return false;
    int device;
    const char* digits = name + std::strlen("eth");
    if (std::from_chars(digits, name + std::strlen(name), device).ec != std::errc{}) return false;
    std::snprintf(number, sizeof(number), "%lld", device + 1LL);
    return true;
}

void report_slaves(uci_section* la, ReplyBuffer& reply) {
    Text slaves;
    option_text(la, "slaves", slaves);
    if (!*slaves) return;
    void* ports = reply.open_array("convergence_select_ports");
    PortName number;
    for (Words words(slaves); const char* slave = words.next();)
        if (port_number(slave, number)) reply.add(number);
    reply.close_array(ports);
}

void report_bond(uci_section* la, ReplyBuffer& reply) {
    const char* policy = option_string(la, "bonding_policy");
    if (const int number = policy ? policy_number(policy) : -1; number >= 0) {
        const char digit[] = {static_cast<char>('0' + number), '\0'};
        reply.add("binding_policy", digit);
    }
    report_slaves(la, reply);
    for (const auto& [option, failure] : kLaTuning)
        if (const char* value = option_string(la, option)) reply.add(option, value);
}

/// The interface of a bond, null if there is none or it is something else.
uci_section* find_bond(UciFile& network) {
    uci_section* la = network.load() ? find_la_interface(network.package()) : nullptr;
    const char* protocol = la ? option_string(la, "proto") : nullptr;
    return protocol && std::strcmp(protocol, "bonding") == 0 ? la : nullptr;
}

}  // namespace

Outcome link_aggregation_set(const LaRequest& request) {
    if (request.slave_count != kSlaves) return refused("slaves must contain exactly 2 interfaces");
    if (!*request.bonding_policy) return refused("bonding_policy is required");
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    PortName previous_port;
    if (!pin_wan_detection(context.get(), previous_port)) return failed(kNoAutoWan);
    rc_auto_wan_action("disable");
    rc_auto_wan_action("stop");
    const Outcome stored = store_bond(context.get(), request, previous_port);
    if (stored.reason) return stored;
    add_la_to_wan_firewall_zone();
    start_la_apply_worker(request.slaves);
    return {};
}

Outcome link_aggregation_del() {
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    rc_auto_wan_action("stop");
    switch (remove_stored_bond(context.get())) {
        case BondRemoval::NotLoaded:
        case BondRemoval::NotStored:
            return failed(kNoNetwork);
        case BondRemoval::NoBond:
            return {};
        case BondRemoval::Removed:
            break;
    }
    rearm_wan_detection_after_bond(context.get());
    start_la_remove_worker();
    return {};
}

Outcome link_aggregation_del_no_commit() {
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    const BondRemoval removal = remove_stored_bond(context.get());
    const bool stored = removal == BondRemoval::NoBond || removal == BondRemoval::Removed;
    return stored ? Outcome{} : failed(kNoNetwork);
}

Outcome link_aggregation_get(ReplyBuffer& reply) {
    const UciContext context = uci_new_context();
    if (!context) {
        reply.add("result", IGD_CM_OPERATE_FAIL);
        reply.add("error", kNoContext);
        return {};
    }
    UciFile network(context.get(), "network");
    uci_section* la = find_bond(network);
    if (la) report_bond(la, reply);
    reply.add("result", 0);
    reply.add("has_link_aggregation", la != nullptr);
    return {};
}

BondRemoval remove_stored_bond(uci_context* context) {
    UciFile network(context, "network");
    if (!network.load_for_change()) return BondRemoval::NotLoaded;
    if (!la_section_remove(network.package())) return BondRemoval::NoBond;
    return network.commit() ? BondRemoval::Removed : BondRemoval::NotStored;
}

const char* rearm_wan_detection(uci_section* auto_wan) {
    static constexpr struct {
        const char* option;
        const char* value;
        const char* failure;
    } kArmed[] = {{"current_uplinkid", "-1", "Failed to set current_uplinkid"},
                  {"detected_linkid", "-1", "Failed to set detected_linkid"},
                  {"detect_en", "1", "Failed to set detect_en"}};
    for (const auto& [option, value, failure] : kArmed)
        if (set_option(auto_wan, option, value) != UCI_OK) return failure;
    return nullptr;
}

bool la_interface_exists() {
    const UciContext context = uci_new_context();
    if (!context) return false;
    UciFile network(context.get(), "network");
    return network.load() && find_la_interface(network.package());
}
