#include "platform/linux/services/ip_filter_rules.h"

#include <algorithm>
#include <cstring>

#include "platform/linux/services/packet_text.h"

namespace platform::platformd::ip_filter {

using enforce::kLanBridge;
using packet_text::address_match, packet_text::port_match, packet_text::parse_ports;
using packet_text::Addresses;

namespace {

/// By `em_type`: our own numbers, and the two that everybody knows.
struct Protocol {
    uint32_t type;
    const char* match;
    bool has_ports;
};

constexpr Protocol kProtocols[] = {
    {0, "", true},
    {1, "meta l4proto tcp ", true},
    {2, "meta l4proto udp ", true},
    {3, "meta l4proto { tcp, udp } ", true},
    {4, "meta l4proto { icmp, ipv6-icmp } ", false},
    {6, "meta l4proto tcp ", true},
    {17, "meta l4proto udp ", true},
};

struct Match {
    const Protocol* protocol;
    Addresses wan, lan;
    std::string wan_ports, lan_ports;
};

/// One side of a rule, as text: what a packet's source or destination has to be.
struct Side {
    const Addresses& addresses;
    const std::string& ports;
};

/// A member that is full to its end is no text: the address in it would be cut.
bool parse(const char (&first)[40], const char (&last)[40], Addresses& addresses) {
    if (!memchr(first, '\0', sizeof(first)) || !memchr(last, '\0', sizeof(last))) return false;
    return packet_text::parse_addresses(first, last, addresses);
}

bool parse(const st_filter_list& rule, Match& match) {
    match.protocol = std::ranges::find(kProtocols, rule.em_type, &Protocol::type);
    if (match.protocol == std::end(kProtocols)) return false;
    if (!parse(rule.ac_dst_sip, rule.ac_dst_eip, match.wan)) return false;
    if (!parse(rule.ac_src_sip, rule.ac_src_eip, match.lan)) return false;
    const bool both = match.wan.family != AF_UNSPEC && match.lan.family != AF_UNSPEC;
    if (both && match.wan.family != match.lan.family) return false;
    return parse_ports(rule.ui_dst_sport, rule.ui_dst_eport, match.wan_ports) &&
           parse_ports(rule.ui_src_sport, rule.ui_src_eport, match.lan_ports);
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
