#include "platform/linux/services/qos_match.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/names.h"
#include "base/tokens.h"
#include "platform/linux/services/packet_text.h"
#include "platform/linux/services/qos_state.h"

namespace platform::platformd::qos {

using namespace packet_text;

namespace {

constexpr uint32_t kLastPcp = 7;
constexpr uint32_t kLastByte = 255;
constexpr uint32_t kLastFlowLabel = 0xfffff;
constexpr uint32_t kIpv4Frame = 0x0800;
constexpr uint32_t kIpv6Frame = 0x86dd;

struct Protocol {
    uint32_t bit;
    std::string_view name;
    const char* match;
};

constexpr Protocol kProtocols[] = {
    {kTcp, "tcp", "tcp"}, {kUdp, "udp", "udp"}, {kIcmp, "icmp", "icmp, ipv6-icmp"}};

constexpr uint32_t kAllProtocols = kTcp | kUdp | kIcmp;
constexpr uint32_t kWithPorts = kTcp | kUdp;

std::string of_protocols(uint32_t protocols) {
    std::string names;
    for (const auto& [bit, name, match] : kProtocols)
        if ((protocols & bit) != 0) names += (names.empty() ? "" : ", ") + std::string(match);
    return names.empty() ? names : "meta l4proto { " + names + " } ";
}

/// The protocols of a match by ports, which only some have; 0: none is left.
uint32_t with_ports(uint32_t protocols) {
    return protocols == 0 ? kWithPorts : protocols & kWithPorts;
}

/// What a classification asks of one member of a packet.
struct Wanted {
    const zu_sal_qos_flow_class_s& values;
    uint32_t mask;
    const Devices& devices;
};

/// Where only one of the ends says something it is the value.
std::pair<std::string, std::string> texts(const Wanted& wanted) {
    auto first = text_of(wanted.values.uc_min), last = text_of(wanted.values.uc_max);
    if (first == "0") first.clear();
    if (last == "0") last.clear();
    return {first.empty() ? last : first, last.empty() ? first : last};
}

uint32_t single(const Wanted& wanted) {
    return wanted.values.ui_min != 0 ? wanted.values.ui_min : wanted.values.ui_max;
}

/// "LOW-HIGH", or one of them when both are the same; empty beyond `most`.
std::string range(const Wanted& wanted, uint32_t most) {
    const auto end = wanted.values.ui_max != 0 ? wanted.values.ui_max : wanted.values.ui_min;
    const auto [low, high] = std::minmax(wanted.values.ui_min, end);
    if (high > most) return {};
    return std::to_string(low) + (low == high ? "" : '-' + std::to_string(high));
}

Matches in_frame(const std::string& text) {
    return {{text, IpVersion::Any, true}};
}

// Each takes a piece of a rule, the same for several members, and what is wanted.

Matches by_mac(const char* member, const Wanted& wanted) {
    const auto [first, last] = texts(wanted);
    const auto address = mac_text(first);
    if (address.empty() || first != last) return {};
    return in_frame(member + address + ' ');
}

Matches by_address(const char* which, int family, const Wanted& wanted) {
    const auto [first, last] = texts(wanted);
    Addresses addresses;
    if (!parse(first, last, addresses) || addresses.first.family != family) return {};
    return {{address_match(which, addresses), family == AF_INET ? IpVersion::V4 : IpVersion::V6}};
}

Matches by_ipv4(const char* which, const Wanted& wanted) {
    return by_address(which, AF_INET, wanted);
}

Matches by_ipv6(const char* which, const Wanted& wanted) {
    return by_address(which, AF_INET6, wanted);
}

Matches by_port(const char* which, const Wanted& wanted) {
    Ports ports;
    if (!parse(wanted.values.ui_min, wanted.values.ui_max, ports)) return {};
    return {{port_match(which, ports)}};
}

Matches by_priority(const char* member, const Wanted& wanted) {
    const auto value = single(wanted);
    if (value > kLastPcp) return {};
    return in_frame(member + std::to_string(value) + ' ');
}

Matches by_vlan(const char* member, const Wanted& wanted) {
    const auto value = single(wanted);
    if (value > kLastVlan) return {};
    return in_frame(member + std::to_string(value) + ' ');
}

Matches by_tos(const char* member, const Wanted& wanted) {
    const auto values = range(wanted, kLastByte);
    if (values.empty()) return {};
    return {{version_match(IpVersion::V4) + (member + values) + ' ', IpVersion::V4}};
}

Matches by_dscp(const char*, const Wanted& wanted) {
    const auto values = range(wanted, kLastDscp);
    return values.empty() ? Matches() : with_dscp(values);
}

Matches by_lan_port(const char* member, const Wanted& wanted) {
    const auto number = single(wanted);
    const auto device = number == 0 ? std::string() : wanted.devices.lan_port(number - 1);
    if (!base::is_interface_name(device)) return {};
    return in_frame(member + ('"' + device) + "\" ");
}

// Nothing else is routed.
Matches by_frame_type(const char*, const Wanted& wanted) {
    const auto type = single(wanted);
    if (type != kIpv4Frame && type != kIpv6Frame) return {};
    const auto version = type == kIpv4Frame ? IpVersion::V4 : IpVersion::V6;
    return {{version_match(version), version}};
}

Matches by_flow_label(const char* member, const Wanted& wanted) {
    const auto value = single(wanted);
    if (value > kLastFlowLabel) return {};
    return {{member + std::to_string(value) + ' ', IpVersion::V6}};
}

// The class is the byte behind the header's first four bits.
Matches by_traffic_class(const char* member, const Wanted& wanted) {
    constexpr int kShift = 4;
    const auto value = single(wanted), mask = wanted.mask == 0 ? kLastByte : wanted.mask;
    if (value > kLastByte || mask > kLastByte) return {};
    char text[64];
    snprintf(text, sizeof(text), "%s%s& 0x%x == 0x%x ", version_match(IpVersion::V6), member,
             mask << kShift, (value & mask) << kShift);
    return {{text, IpVersion::V6}};
}

Matches all(const char*, const Wanted&) {
    return {{}};
}

/// Members of a packet by `em_type`.
struct Member {
    uint32_t type;
    Matches (*match)(const char* piece, const Wanted& wanted);
    const char* piece;
};

constexpr Member kMembers[] = {
    {1, by_mac, "ether saddr "},
    {2, by_mac, "ether daddr "},
    {3, by_ipv4, "saddr"},
    {4, by_ipv4, "daddr"},
    {5, by_ipv6, "saddr"},
    {6, by_ipv6, "daddr"},
    {7, by_port, "sport"},
    {8, by_port, "dport"},
    {9, by_priority, "vlan pcp "},
    {10, by_tos, "@nh,8,8 "},
    {11, by_dscp, ""},
    {13, by_lan_port, "iifname "},
    {14, by_vlan, "vlan id "},
    {15, by_frame_type, ""},
    {17, by_flow_label, "ip6 flowlabel "},
    {18, by_traffic_class, "@nh,0,16 "},
    {19, all, ""},
};

bool parse_number(std::string_view text, uint32_t& number) {
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end;
}

/// "5060", "500-510" or "500:510"; none is any port. The text has little room: ends the wrong way
/// round are two of which the latter has been cut off.
bool parse(const std::string& text, Ports& ports) {
    if (text.empty()) return true;
    const auto dash = std::min(text.find_first_of("-:"), text.size());
    uint32_t from = 0, to = 0;
    if (!parse_number(text.substr(0, dash), from)) return false;
    if (dash < text.size() && !parse_number(text.substr(dash + 1), to)) return false;
    return (dash == text.size() || from <= to) && parse(from, to, ports);
}

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(tolower(c)); });
    return text;
}

/// A protocol by its name; 0: all of them. False for a word that is none.
bool parse_protocol(std::string_view name, uint32_t& protocol) {
    const auto known = std::ranges::find(kProtocols, name, &Protocol::name);
    if (known != std::end(kProtocols)) {
        protocol = known->bit;
        return true;
    }
    protocol = name == "icmpv6" ? kIcmp : 0;
    return protocol != 0 || name == "all" || name == "any";
}

/// Names with commas, blanks or the like between them.
bool parse_protocols(const std::string& text, uint32_t& protocols) {
    base::Tokens names(text, ", /|+");
    for (std::string_view name; names.next(name);) {
        uint32_t protocol = 0;
        if (!parse_protocol(name, protocol)) return false;
        protocols |= protocol;
    }
    return true;
}

/// Adds the address of one side of an item; none is any.
bool add_mac(const char* which, const std::string& text, Match& match) {
    if (text.empty()) return true;
    const auto address = mac_text(text);
    match.text += std::string("ether ") + which + ' ' + address + ' ';
    match.in_frame = true;
    return !address.empty();
}

// Without a mask it is a single address.
bool add_network(const char* which, const std::string& text, const std::string& ones,
                 Match& match) {
    Address address, mask;
    if (!parse(std::string_view(text), address) || !parse(std::string_view(ones), mask))
        return false;
    if (address.family == AF_UNSPEC) return mask.family == AF_UNSPEC;
    const auto version = address.family == AF_INET ? IpVersion::V4 : IpVersion::V6;
    if (mask.family != AF_UNSPEC && mask.family != address.family) return false;
    if (match.version != IpVersion::Any && match.version != version) return false;
    match.version = version;
    match.text += mask.family == AF_UNSPEC ? address_match(which, {address, address})
                                           : network_match(which, address, mask);
    return true;
}

bool add_ports(const zu_qos_item_attr_s& item, Match& match) {
    Ports source, destination;
    uint32_t protocols = 0;
    if (!parse(text_of(item.srcPort), source) || !parse(text_of(item.dstPort), destination) ||
        !parse_protocols(lower(text_of(item.protocol)), protocols))
        return false;
    const auto ports = port_match("sport", source) + port_match("dport", destination);
    if (!ports.empty()) protocols = with_ports(protocols);
    match.text += of_protocols(protocols) + ports;
    return ports.empty() || protocols != 0;
}

template <size_t... Sizes>
bool are_texts(const char (&... texts)[Sizes]) {
    return (... && (memchr(texts, '\0', Sizes) != nullptr));
}

}  // namespace

const char* version_match(IpVersion version) {
    if (version == IpVersion::Any) return "";
    return version == IpVersion::V4 ? "meta nfproto ipv4 " : "meta nfproto ipv6 ";
}

std::string to_ports(uint32_t protocols, const std::string& ports) {
    return of_protocols(protocols) + "th dport { " + ports + " } ";
}

Matches with_dscp(const std::string& values) {
    return {{"ip dscp " + values + ' ', IpVersion::V4},
            {"ip6 dscp " + values + ' ', IpVersion::V6}};
}

Matches matches_of(const zu_sal_qos_flow_queue_s& flow, const Devices& devices) {
    const auto& values = flow.st_flow_class[0];
    auto protocols = values.ui_proto_list;
    if ((protocols & ~kAllProtocols) != 0) return {};
    const auto member = std::ranges::find(kMembers, values.em_type, &Member::type);
    if (member == std::end(kMembers)) return {};
    if (member->match == by_port) {
        protocols = with_ports(protocols);
        if (protocols == 0) return {};
    }
    auto matches = member->match(member->piece, {values, flow.ui_mask, devices});
    for (auto& match : matches)
        match.text = of_protocols(protocols) + match.text;
    return matches;
}

Matches matches_of(const zu_qos_item_attr_s& item) {
    if (!are_texts(item.protocol, item.srcIp, item.srcMask, item.srcPort, item.dstIp, item.dstMask,
                   item.dstPort, item.srcMac, item.dstMac))
        return {};
    Match match;
    const bool understood =
        add_mac("saddr", text_of(item.srcMac), match) &&
        add_mac("daddr", text_of(item.dstMac), match) &&
        add_network("saddr", text_of(item.srcIp), text_of(item.srcMask), match) &&
        add_network("daddr", text_of(item.dstIp), text_of(item.dstMask), match) &&
        add_ports(item, match);
    return understood ? Matches{match} : Matches();
}

}  // namespace platform::platformd::qos
