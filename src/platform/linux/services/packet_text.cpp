#include "platform/linux/services/packet_text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "base/mac_address.h"

namespace platform::platformd::packet_text {

namespace {

std::string text_of(const Address& address) {
    char text[INET6_ADDRSTRLEN];
    inet_ntop(address.family, address.bytes, text, sizeof(text));
    return text;
}

std::string range(const std::string& first, const std::string& last) {
    return first == last ? first : first + '-' + last;
}

std::string header(const Address& address, const char* which) {
    return std::string(address.family == AF_INET6 ? "ip6 " : "ip ") + which + ' ';
}

}  // namespace

bool parse(std::string_view text, Address& address) {
    if (text.empty() || text[0] == ' ') return true;
    address.family = text.find(':') != text.npos ? AF_INET6 : AF_INET;
    return inet_pton(address.family, std::string(text).c_str(), address.bytes) == 1;
}

bool parse(std::string_view from, std::string_view to, Addresses& addresses) {
    auto& [first, last] = addresses;
    if (!parse(from, first) || !parse(to, last)) return false;
    if (first.family == AF_UNSPEC || last.family == AF_UNSPEC) last = first;
    if (first.family != last.family) return false;
    if (memcmp(first.bytes, last.bytes, sizeof(first.bytes)) > 0) std::swap(first, last);
    return true;
}

bool parse(uint32_t from, uint32_t to, Ports& ports) {
    if (from > UINT16_MAX || to > UINT16_MAX) return false;
    if (from == 0 && to == 0) return true;
    const auto [first, last] = std::minmax(from, to == 0 ? from : to);
    ports = {first, last};
    return true;
}

std::string address_match(const char* which, const Addresses& addresses) {
    const auto& [first, last] = addresses;
    if (first.family == AF_UNSPEC) return {};
    return header(first, which) + range(text_of(first), text_of(last)) + ' ';
}

std::string network_match(const char* which, const Address& address, const Address& mask) {
    auto network = address;
    for (size_t i = 0; i < sizeof(network.bytes); ++i)
        network.bytes[i] &= mask.bytes[i];
    return header(address, which) + "& " + text_of(mask) + " == " + text_of(network) + ' ';
}

std::string port_match(const char* which, const Ports& ports) {
    if (ports.any()) return {};
    return std::string("th ") + which + ' ' +
           range(std::to_string(ports.first), std::to_string(ports.last)) + ' ';
}

std::string mac_text(std::string_view text) {
    base::MacAddress mac;
    return base::parse_mac(text, mac) ? base::mac_text(mac) : std::string();
}

}  // namespace platform::platformd::packet_text
