#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace base {

using MacAddress = std::array<uint8_t, 6>;

/// Six pairs of hexadecimal digits with ':' or '-' between them; false for any other text.
bool parse_mac(std::string_view text, MacAddress& mac);

/// In small letters, with ':' between the pairs.
std::string mac_text(const MacAddress& mac);

}  // namespace base
