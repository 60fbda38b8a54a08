#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <string_view>

// How packets are described to the kernel's packet filter: from the texts and numbers of records,
// which may say anything, to pieces of rules. Each piece ends with a blank, or is empty where any
// packet will do.

namespace platform::platformd::packet_text {

/// One address or a range of them; AF_UNSPEC: any.
struct Addresses {
    int family = AF_UNSPEC;
    std::string text;
};

/// False when a text is no address, or they are of both families. An empty text, or one that begins
/// with a blank, is none: a start without an end stands for itself, an end alone for nothing. Ends
/// the wrong way round are swapped.
bool parse_addresses(std::string_view first, std::string_view last, Addresses& addresses);

/// The addresses that agree with `address` where `mask` has ones; an empty mask is all ones. False
/// when a text is no address, or they are of both families.
bool parse_network(std::string_view address, std::string_view mask, Addresses& addresses);

/// `which` is saddr or daddr.
std::string address_match(const char* which, const Addresses& addresses);

/// False beyond 65535. An end of 0 stands for the start; 0 to 0 and all ports are any port, an
/// empty text. Ends the wrong way round are swapped.
bool parse_ports(uint32_t from, uint32_t to, std::string& ports);

/// `which` is sport or dport.
std::string port_match(const char* which, const std::string& ports);

/// Six pairs of hexadecimal digits with ':' between them, of a text that may have '-' there; empty
/// for any other text.
std::string mac_text(std::string_view text);

}  // namespace platform::platformd::packet_text
