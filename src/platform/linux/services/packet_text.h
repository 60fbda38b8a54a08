#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <string_view>

// How packets are described to the kernel's packet filter: from the texts and numbers of records,
// which may say anything, to pieces of rules. Each piece ends with a blank, or is empty where any
// packet will do.

namespace platform::platformd::packet_text {

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

/// True for no text, too, and for one that begins with a blank: any address.
bool parse(std::string_view text, Address& address);

/// False when a text is no address, or they are of both families. A start without an end stands
/// for itself, an end alone for nothing. Ends the wrong way round are swapped.
bool parse(std::string_view first, std::string_view last, Addresses& addresses);

/// False beyond 65535. An end of 0 stands for the start, 0 to 0 for any port. Ends the wrong way
/// round are swapped.
bool parse(uint32_t from, uint32_t to, Ports& ports);

/// `which` is saddr or daddr.
std::string address_match(const char* which, const Addresses& addresses);

/// The addresses that agree with `address` where `mask` has ones; both are of one family.
std::string network_match(const char* which, const Address& address, const Address& mask);

/// `which` is sport or dport.
std::string port_match(const char* which, const Ports& ports);

/// A MAC address as rules have it; empty when the text is none.
std::string mac_text(std::string_view text);

}  // namespace platform::platformd::packet_text
