#include "platform/linux/services/packet_text.h"

#include <arpa/inet.h>
#include <netinet/ether.h>
#include <strings.h>

#include <algorithm>
#include <cstring>

namespace platform::platformd::packet_text {

namespace {

struct Address {
    int family = AF_UNSPEC;
    uint8_t bytes[sizeof(in6_addr)] = {};
};

bool parse(std::string_view text, Address& address) {
    if (text.empty() || text[0] == ' ') return true;
    address.family = text.find(':') != text.npos ? AF_INET6 : AF_INET;
    return inet_pton(address.family, std::string(text).c_str(), address.bytes) == 1;
}

std::string text_of(const Address& address) {
    char text[INET6_ADDRSTRLEN];
    inet_ntop(address.family, address.bytes, text, sizeof(text));
    return text;
}

}  // namespace

bool parse_addresses(std::string_view first, std::string_view last, Addresses& addresses) {
    Address from, to;
    if (!parse(first, from) || !parse(last, to)) return false;
    if (from.family == AF_UNSPEC) return true;
    if (to.family == AF_UNSPEC) to = from;
    if (from.family != to.family) return false;
    const int order = memcmp(from.bytes, to.bytes, sizeof(from.bytes));
    if (order > 0) std::swap(from, to);
    addresses.family = from.family;
    addresses.text = text_of(from);
    if (order != 0) addresses.text += '-' + text_of(to);
    return true;
}

bool parse_network(std::string_view address, std::string_view mask, Addresses& addresses) {
    Address wanted, ones;
    if (!parse(address, wanted) || !parse(mask, ones)) return false;
    if (wanted.family == AF_UNSPEC) return ones.family == AF_UNSPEC;
    if (ones.family == AF_UNSPEC) {
        ones.family = wanted.family;
        std::ranges::fill(ones.bytes, 0xff);
    }
    if (ones.family != wanted.family) return false;
    for (size_t i = 0; i < sizeof(wanted.bytes); ++i)
        wanted.bytes[i] &= ones.bytes[i];
    addresses = {wanted.family, "& " + text_of(ones) + " == " + text_of(wanted)};
    return true;
}

std::string address_match(const char* which, const Addresses& addresses) {
    if (addresses.family == AF_UNSPEC) return {};
    return std::string(addresses.family == AF_INET6 ? "ip6 " : "ip ") + which + ' ' +
           addresses.text + ' ';
}

bool parse_ports(uint32_t from, uint32_t to, std::string& ports) {
    if (from > UINT16_MAX || to > UINT16_MAX) return false;
    const auto [first, last] = std::minmax(from, to == 0 ? from : to);
    if (last == 0 || (first == 0 && last == UINT16_MAX)) return true;
    ports = std::to_string(first);
    if (first != last) ports += '-' + std::to_string(last);
    return true;
}

std::string port_match(const char* which, const std::string& ports) {
    return ports.empty() ? ports : std::string("th ") + which + ' ' + ports + ' ';
}

// The C library's function takes shorter forms, too, and whatever follows an address.
std::string mac_text(std::string_view text) {
    std::string colons(text);
    std::ranges::replace(colons, '-', ':');
    ether_addr address;
    if (!ether_aton_r(colons.c_str(), &address)) return {};
    char whole[sizeof("02:00:00:00:00:00")];
    const auto* octets = address.ether_addr_octet;
    snprintf(whole, sizeof(whole), "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2],
             octets[3], octets[4], octets[5]);
    return strcasecmp(whole, colons.c_str()) == 0 ? whole : std::string();
}

}  // namespace platform::platformd::packet_text
