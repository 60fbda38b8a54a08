#include "platform/linux/services/ip_filter_rules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace platform::platformd::ip_filter {

using enforce::kLanBridge;

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

struct Address {
    int family = AF_UNSPEC;  ///< for any address
    uint8_t bytes[sizeof(in6_addr)] = {};
};

/// Ranges hold both their ends.
struct Addresses {
    Address first, last;
};

struct Ports {
    uint32_t first = 0, last = UINT16_MAX;

    bool any() const { return first == 0 && last == UINT16_MAX; }
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

bool parse(const char (&text)[40], Address& address) {
    if (text[0] == '\0' || text[0] == ' ') return true;
    if (strnlen(text, sizeof(text)) == sizeof(text)) return false;
    address.family = strchr(text, ':') ? AF_INET6 : AF_INET;
    return inet_pton(address.family, text, address.bytes) == 1;
}

std::string text_of(const Address& address) {
    char text[INET6_ADDRSTRLEN];
    inet_ntop(address.family, address.bytes, text, sizeof(text));
    return text;
}

// One end alone: a start stands for itself, an end for nothing.
bool parse(const char (&from)[40], const char (&to)[40], Addresses& addresses) {
    auto& [first, last] = addresses;
    if (!parse(from, first) || !parse(to, last)) return false;
    if (first.family == AF_UNSPEC || last.family == AF_UNSPEC) last = first;
    if (first.family != last.family) return false;
    if (memcmp(first.bytes, last.bytes, sizeof(first.bytes)) > 0) std::swap(first, last);
    return true;
}

// A range that nobody has filled in is any port, like an address that nobody has.
bool parse_ports(uint32_t from, uint32_t to, Ports& ports) {
    if (from > UINT16_MAX || to > UINT16_MAX) return false;
    if (from == 0 && to == 0) return true;
    const auto [first, last] = std::minmax(from, to == 0 ? from : to);
    ports = {first, last};
    return true;
}

bool parse(const st_filter_list& rule, Match& match) {
    match.protocol = std::ranges::find(kProtocols, rule.em_type, &Protocol::type);
    if (match.protocol == std::end(kProtocols)) return false;
    if (!parse(rule.ac_dst_sip, rule.ac_dst_eip, match.wan)) return false;
    if (!parse(rule.ac_src_sip, rule.ac_src_eip, match.lan)) return false;
    const int wan = match.wan.first.family, lan = match.lan.first.family;
    if (wan != AF_UNSPEC && lan != AF_UNSPEC && wan != lan) return false;
    return parse_ports(rule.ui_dst_sport, rule.ui_dst_eport, match.wan_ports) &&
           parse_ports(rule.ui_src_sport, rule.ui_src_eport, match.lan_ports);
}

std::string address_match(const char* which, const Addresses& addresses) {
    if (addresses.first.family == AF_UNSPEC) return {};
    const auto first = text_of(addresses.first), last = text_of(addresses.last);
    return std::string(addresses.first.family == AF_INET6 ? "ip6 " : "ip ") + which + ' ' +
           (first == last ? first : first + '-' + last) + ' ';
}

std::string port_match(const char* which, const Ports& ports) {
    if (ports.any()) return {};
    const auto first = std::to_string(ports.first), last = std::to_string(ports.last);
    return std::string("th ") + which + ' ' + (first == last ? first : first + '-' + last) + ' ';
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
