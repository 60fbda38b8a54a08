#include "base/mac_address.h"

#include <charconv>
#include <cstdio>

namespace base {

bool parse_mac(std::string_view text, MacAddress& mac) {
    constexpr size_t kPair = 2, kStep = kPair + 1;
    constexpr int kHexadecimal = 16;
    if (text.size() != mac.size() * kStep - 1) return false;
    for (size_t i = 0; i < mac.size(); ++i) {
        const auto* const pair = text.data() + i * kStep;
        const auto* const end = pair + kPair;
        if (std::from_chars(pair, end, mac[i], kHexadecimal).ptr != end) return false;
        if (i + 1 < mac.size() && *end != ':' && *end != '-') return false;
    }
    return true;
}

std::string mac_text(const MacAddress& mac) {
    char text[sizeof("00:00:00:00:00:00")];
    snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    return text;
}

}  // namespace base
