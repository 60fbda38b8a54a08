#include "security/mac_filter/mac_filter_mac.h"

#include <charconv>
#include <cstring>

#include "securec.h"

namespace appcfg {

MacTextResult parse_mac(const char* text, MacAddress* mac) {
    if (!text || !mac) return MacTextResult::NoBuffer;
    if (std::strlen(text) != kMacTextSize - 1) return MacTextResult::WrongLength;
    for (uint8_t& byte : *mac) {
        uint8_t value = 0;
        const char* group_end = text + 2;
        if (std::from_chars(text, group_end, value, 16).ptr != group_end)
            return MacTextResult::BadDigit;
        byte = value;
        if (*group_end == '\0') break;
        if (*group_end != ':' && *group_end != '-') return MacTextResult::BadSeparator;
        text = group_end + 1;
    }
    return MacTextResult::Ok;
}

void format_mac(const MacAddress& mac, char* text) {
    sprintf_s(text, kMacTextSize, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3],
              mac[4], mac[5]);
}

}  // namespace appcfg
