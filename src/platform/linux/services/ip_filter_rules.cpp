#include "platform/linux/services/ip_filter_rules.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/linux/services/packet_text.h"

namespace platform::platformd::ip_filter {

using enforce::kLanBridge;
using packet_text::address_match, packet_text::port_match;
using packet_text::Addresses, packet_text::Ports;

namespace {

/// By `em_type`: our own numbers, and the two that everybody knows.
struct Protocol {
    uint32_t type;
    const char* match;
    bool has_ports;
    uint8_t numbers[2];  ///< those that everybody knows; 0: any
};

constexpr Protocol kProtocols[] = {
    {0, "", true, {}},
    {1, "meta l4proto tcp ", true, {IPPROTO_TCP, IPPROTO_TCP}},
    {2, "meta l4proto udp ", true, {IPPROTO_UDP, IPPROTO_UDP}},
    {3, "meta l4proto { tcp, udp } ", true, {IPPROTO_TCP, IPPROTO_UDP}},
    {4, "meta l4proto { icmp, ipv6-icmp } ", false, {IPPROTO_ICMP, IPPROTO_ICMPV6}},
    {6, "meta l4proto tcp ", true, {IPPROTO_TCP, IPPROTO_TCP}},
    {17, "meta l4proto udp ", true, {IPPROTO_UDP, IPPROTO_UDP}},
};

struct Match {
    const Protocol* protocol;
    Addresses wan, lan;
    Ports wan_ports, lan_ports;
};

/// One side of a rule, as text: what a packet's source or destination has to be.
struct Side {
    const Addresses& addresses;
    const Ports& ports;
};

// A member that is full to its end holds no address.
bool parse(const char (&first)[40], const char (&last)[40], Addresses& addresses) {
    if (!memchr(first, '\0', sizeof(first)) || !memchr(last, '\0', sizeof(last))) return false;
    return packet_text::parse(std::string_view(first), std::string_view(last), addresses);
}

bool parse(const st_filter_list& rule, Match& match) {
    match.protocol = std::ranges::find(kProtocols, rule.em_type, &Protocol::type);
    if (match.protocol == std::end(kProtocols)) return false;
    if (!parse(rule.ac_dst_sip, rule.ac_dst_eip, match.wan)) return false;
    if (!parse(rule.ac_src_sip, rule.ac_src_eip, match.lan)) return false;
    const int wan = match.wan.first.family, lan = match.lan.first.family;
    if (wan != AF_UNSPEC && lan != AF_UNSPEC && wan != lan) return false;
    return packet_text::parse(rule.ui_dst_sport, rule.ui_dst_eport, match.wan_ports) &&
           packet_text::parse(rule.ui_src_sport, rule.ui_src_eport, match.lan_ports);
}

/// What packets from `source` to `destination` look like.
std::string packets(const Protocol& protocol, const Side& source, const Side& destination) {
    const auto ports = port_match("sport", source.ports) + port_match("dport", destination.ports);
    const bool by_ports = protocol.has_ports && !ports.empty();
    // Only these have ports at all.
    const bool any = by_ports && protocol.match[0] == '\0';
    return address_match("saddr", source.addresses) +
           address_match("daddr", destination.addresses) +
           (any ? "meta l4proto { tcp, udp } " : protocol.match) + (by_ports ? ports : "");
}

/// A rule names its WAN side and its LAN side; which of them is the source is the direction's.
std::string packets(const st_filter_list& rule) {
    Match match;
    if (!parse(rule, match)) return {};
    const Side lan{match.lan, match.lan_ports}, wan{match.wan, match.wan_ports};
    return rule.em_dir == kIpFilterUp ? packets(*match.protocol, lan, wan)
                                      : packets(*match.protocol, wan, lan);
}

bool is_within(const Addresses& addresses, int family, const enforce::End& end) {
    const auto& [first, last] = addresses;
    if (first.family == AF_UNSPEC) return true;
    return first.family == family && memcmp(first.bytes, end.address, sizeof(end.address)) <= 0 &&
           memcmp(end.address, last.bytes, sizeof(end.address)) <= 0;
}

bool is_within(const Protocol& protocol, uint8_t number) {
    return protocol.numbers[0] == 0 || std::ranges::count(protocol.numbers, number) > 0;
}

bool is_within(const Ports& ports, const enforce::End& end) {
    return ports.first <= end.port && end.port <= ports.last;
}

bool names(const st_filter_list& rule, const enforce::Connection& connection,
           const enforce::End& lan, const enforce::End& wan) {
    Match match;
    if (!parse(rule, match) || !is_within(*match.protocol, connection.protocol)) return false;
    if (!is_within(match.lan, connection.family, lan)) return false;
    if (!is_within(match.wan, connection.family, wan)) return false;
    if (!match.protocol->has_ports || (match.lan_ports.any() && match.wan_ports.any())) return true;
    const bool has_ports = connection.protocol == IPPROTO_TCP || connection.protocol == IPPROTO_UDP;
    return has_ports && is_within(match.lan_ports, lan) && is_within(match.wan_ports, wan);
}

// A black list judges every packet. A white list judges what the side sends that has begun the
// connection: without the answers to it nothing that is allowed could work.
void render(const Chain& state, const enforce::OwnedChain& chain, const char* name,
            enforce::RuleText& text) {
    const bool white = state.list_type == kIpFilterWhiteList;
    if (white) {
        text.rule(chain, "ct direction reply accept");
        text.rule(chain, "ct state related accept");
    }
    size_t number = 0;
    for (const auto& rule : state.rules)
        text.rule(chain, "%s%s comment \"%s %zu\"", packets(rule).c_str(),
                  white ? "accept" : "counter drop", name, ++number);
    if (white) text.rule(chain, "counter drop comment \"%s, not listed\"", name);
}

bool has_rules(const Chain& state) {
    return state.enabled != 0 && !state.rules.empty();
}

}  // namespace

bool makes_sense(const st_filter_list& rule) {
    Match match;
    return parse(rule, match);
}

// As the rules do: a black list whoever has begun it, a white list only what its side has.
bool stops(const IpFilter& filter, const enforce::Connection& connection, bool from_lan) {
    const auto& lan = from_lan ? connection.from : connection.to;
    const auto& wan = from_lan ? connection.to : connection.from;
    for (const auto* chain : {&filter.up, &filter.down}) {
        if (!has_rules(*chain)) continue;
        const bool listed = std::ranges::any_of(chain->rules, [&](const st_filter_list& rule) {
            return names(rule, connection, lan, wan);
        });
        const bool white = chain->list_type == kIpFilterWhiteList;
        const bool own = from_lan == (chain == &filter.up);
        if (white ? own && !listed : listed) return true;
    }
    return false;
}

// A white list without a rule admits all, like one that is off.
void render(const IpFilter& filter, enforce::RuleText& text) {
    if (has_rules(filter.up)) {
        text.rule(kBase, "iifname \"%s\" oifname != \"%s\" goto %s", kLanBridge, kLanBridge,
                  kUp.name);
        render(filter.up, kUp, "up", text);
    }
    if (has_rules(filter.down)) {
        text.rule(kBase, "iifname != \"%s\" oifname \"%s\" goto %s", kLanBridge, kLanBridge,
                  kDown.name);
        render(filter.down, kDown, "down", text);
    }
}

}  // namespace platform::platformd::ip_filter
