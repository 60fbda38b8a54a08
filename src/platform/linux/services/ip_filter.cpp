#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/linux/platformd/service.h"
#include "platform/linux/services/ip_filter_rules.h"

namespace platform::platformd::ip_filter {

constexpr size_t kMaxRules = 1024;
constexpr uint32_t kBothMask = kIpFilterUpMask | kIpFilterDownMask;

IpFilter g_filter;

void reset() {
    g_filter = {};
}

Chain* chain_of(const st_filter_list& rule) {
    if (rule.em_dir == kIpFilterUp) return &g_filter.up;
    return rule.em_dir == kIpFilterDown ? &g_filter.down : nullptr;
}

int32_t apply_modes(const st_filter_mode& mode, uint32_t directions) {
    if ((directions & ~kBothMask) != 0) return -1;
    if ((directions & kIpFilterUpMask) != 0) {
        g_filter.up.enabled = mode.up_filter_en;
        g_filter.up.list_type = mode.em_up_listtype;
    }
    if ((directions & kIpFilterDownMask) != 0) {
        g_filter.down.enabled = mode.dn_filter_en;
        g_filter.down.list_type = mode.em_dn_listtype;
    }
    return 0;
}

int32_t set(st_filter_mode& mode) {
    return apply_modes(mode, mode.ui_dir_bitmap);
}

int32_t restart_set(st_filter_mode& mode) {
    return apply_modes(mode, kBothMask);
}

// Equal rules are kept as often as they are added: when a rule is replaced by the same one, the new
// one is added before the old one is removed.
int32_t rule_add(st_filter_list& rule) {
    auto* chain = chain_of(rule);
    if (!chain || chain->rules.size() == kMaxRules || !makes_sense(rule)) return -1;
    chain->rules.push_back(rule);
    return 0;
}

// A rule that is not held is no error: while the filter is off the chains are empty and the
// daemon's rules can still be deleted.
int32_t rule_del(st_filter_list& rule) {
    auto* chain = chain_of(rule);
    if (!chain) return -1;
    const auto found = std::ranges::find_if(chain->rules, [&rule](const st_filter_list& held) {
        return memcmp(&held, &rule, sizeof(held)) == 0;
    });
    if (found != chain->rules.end()) chain->rules.erase(found);
    return 0;
}

int32_t flush_chain(st_flush_chain& flush) {
    if ((flush.ui_dir_bitmap & ~kBothMask) != 0) return -1;
    if ((flush.ui_dir_bitmap & kIpFilterUpMask) != 0) g_filter.up.rules.clear();
    if ((flush.ui_dir_bitmap & kIpFilterDownMask) != 0) g_filter.down.rules.clear();
    return 0;
}

void print_chain(std::string& out, const char* name, const Chain& chain) {
    state_line(out, "%s enabled=%u listtype=%u rules=%zu", name, chain.enabled, chain.list_type,
               chain.rules.size());
    for (const auto& rule : chain.rules)
        state_record(out, std::string(name) + " rule", kFilterListLayout, &rule);
}

void print(std::string& out) {
    print_chain(out, "up", g_filter.up);
    print_chain(out, "down", g_filter.down);
}

void told_chain(std::string& out, const char* name, const Chain& chain) {
    if (chain.enabled == 0) return;
    state_line(out, "%s listtype=%u", name, chain.list_type);
    for (const auto& rule : chain.rules)
        state_record(out, std::string(name) + " rule", kFilterListLayout, &rule);
}

// A list that is off is as good as none. All its rules say the same of what they meet, so their
// order, in which a changed one comes last, is no matter.
void told(std::string& out) {
    told_chain(out, "up", g_filter.up);
    told_chain(out, "down", g_filter.down);
}

void render(enforce::RuleText& text) {
    render(g_filter, text);
}

/// The bytes of an address; null if it is not of the family.
const uint8_t* bytes_of(const sockaddr* address, int family) {
    if (!address || address->sa_family != family) return nullptr;
    if (family == AF_INET)
        return reinterpret_cast<const uint8_t*>(
            &reinterpret_cast<const sockaddr_in*>(address)->sin_addr);
    return reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr.s6_addr;
}

/// Whether the end is in one of br-lan's networks.
bool is_in_lan(const ifaddrs* addresses, int family, const enforce::End& end) {
    const size_t size = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    for (; addresses; addresses = addresses->ifa_next) {
        const auto* own = bytes_of(addresses->ifa_addr, family);
        const auto* mask = bytes_of(addresses->ifa_netmask, family);
        if (!own || !mask || strcmp(addresses->ifa_name, enforce::kLanBridge) != 0) continue;
        size_t same = 0;
        while (same < size && ((own[same] ^ end.address[same]) & mask[same]) == 0)
            ++same;
        if (same == size) return true;
    }
    return false;
}

ifaddrs* g_addresses;

bool is_stopped(const enforce::Connection& connection) {
    return stops(g_filter, connection, is_in_lan(g_addresses, connection.family, connection.from));
}

// What was offloaded under the rules before passes no rule any more.
void stop_offloaded() {
    static std::string judged;
    enforce::RuleText text;
    render(text);
    if (text.text() == judged || getifaddrs(&g_addresses) != 0) return;
    judged = text.text();
    std::string error;
    if (!judged.empty() && !enforce::forget_connections(enforce::kOffloaded, is_stopped, error))
        fprintf(stderr, "platformd: what is offloaded goes on: %s\n", error.c_str());
    freeifaddrs(g_addresses);
}

void repeat(CallList& calls) {
    calls.add(kIpFilterSet, {.up_filter_en = g_filter.up.enabled,
                             .dn_filter_en = g_filter.down.enabled,
                             .ui_dir_bitmap = kBothMask,
                             .em_dn_listtype = g_filter.down.list_type,
                             .em_up_listtype = g_filter.up.list_type});
    for (const auto* chain : {&g_filter.up, &g_filter.down})
        for (const auto& rule : chain->rules)
            calls.add(kIpFilterRuleAdd, rule);
}

constexpr enforce::OwnedChain kChains[] = {kBase, kUp, kDown};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};
constexpr enforce::Outside kOutside{.follow = stop_offloaded};

constexpr ServiceCall kCalls[] = {
    service_call<set>(kIpFilterSet),
    service_call<restart_set>(kIpFilterRestartSet),
    service_call<rule_add>(kIpFilterRuleAdd),
    service_call<rule_del>(kIpFilterRuleDel),
    service_call<flush_chain>(kIpFilterFlushChain),
};

ServiceRegistration g_registration({.name = "ip_filter",
                                    .init = "zu_sec_ipfilter_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told,
                                    .rules = &kRules,
                                    .outside = &kOutside,
                                    .repeat = repeat});

}  // namespace platform::platformd::ip_filter
