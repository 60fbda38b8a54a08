#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "core/text_codec.h"

namespace appcfg {

using MacAddress = std::array<uint8_t, 6>;

/// No host has it.
inline constexpr MacAddress kNoMac{};

/// Of the text of a MAC address, with its NUL.
inline constexpr size_t kMacTextSize = 18;

struct MacText {
    char text[kMacTextSize];
};

enum class MacTextResult : int32_t {
    Ok = 0,
    WrongLength = 1,  ///< not 17 characters
    NoBuffer = 2,     ///< no text, or nowhere to put the address
    BadDigit = 3,
    BadSeparator = 4,
};

/// Parses six groups of two hexadecimal digits, either case, each but the last followed by ':' or
/// '-'. On failure the groups before the bad character stand in `mac`, the other bytes are as they
/// were.
MacTextResult parse_mac(const char* text, MacAddress* mac);

/// Writes the address as "AA:BB:CC:DD:EE:FF" into `kMacTextSize` bytes.
void format_mac(const MacAddress& mac, char* text);

/// The same, to be printed.
inline MacText mac_text(const MacAddress& mac) {
    MacText text;
    format_mac(mac, text.text);
    return text;
}

/// A text that cannot be parsed is taken for as much of an address as it is; the rest is zero.
inline constexpr TextCodec kMacCodec{
    .width = kMacTextSize,
    .format = [](const void* mac,
                 char* text) { format_mac(*static_cast<const MacAddress*>(mac), text); },
    .parse = [](const char* text, void* mac) { parse_mac(text, static_cast<MacAddress*>(mac)); },
};

}  // namespace appcfg
