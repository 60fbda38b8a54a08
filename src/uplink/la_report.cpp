#include "uplink/la_report.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/bounded.h"
#include "uplink/lan_bridge.h"
#include "uplink/stored_bond.h"
#include "uplink/uplink_answers.h"
#include "uplink/uplink_uci.h"

namespace appcfg::uplink {
namespace {

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
bool number_port(const char* name, PortName& number) {
    if (!is_lan_port(name)) return false;
    int device;
    const char* digits = name + std::strlen("eth");
    if (std::from_chars(digits, name + std::strlen(name), device).ec != std::errc{}) return false;
    std::snprintf(number, sizeof(number), "%lld", device + 1LL);
    return true;
}

void report_slaves(uci_section* la, ReplyBuffer& reply) {
    Names slaves;
    read_names(la, "slaves", slaves);
    if (slaves.empty()) return;
    void* ports = reply.open_array("convergence_select_ports");
    PortName number;
    for (const char* slave : slaves)
        if (number_port(slave, number)) reply.add(number);
    reply.close_array(ports);
}

void report_tuning(uci_section* la, ReplyBuffer& reply) {
    char text[kLongestOption + 1];
    for (const auto& tuning : kLaTuning) {
        const char* value = option_string(la, tuning.option);
        if (!value) continue;
        cut_text(text, value);
        reply.add(tuning.option, text);
    }
}

void report_bond(uci_section* la, ReplyBuffer& reply) {
    const char* policy = option_string(la, "bonding_policy");
    if (const int number = policy ? policy_number(policy) : -1; number >= 0) {
        const char digit[] = {static_cast<char>('0' + number), '\0'};
        reply.add("binding_policy", digit);
    }
    report_slaves(la, reply);
    report_tuning(la, reply);
}

/// The interface of a bond, null if there is none or it is something else.
uci_section* find_bond(UciFile& network) {
    uci_section* la = network.load() ? find_la_interface(network.package()) : nullptr;
    const char* protocol = la ? option_string(la, "proto") : nullptr;
    return protocol && std::strcmp(protocol, "bonding") == 0 ? la : nullptr;
}

}  // namespace

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

}  // namespace appcfg::uplink
