#include "platform/linux/inspect/names.h"

#include <algorithm>

namespace platform::inspect {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

/// -1 if it is none.
int hexadecimal(char digit) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto value = kDigits.find(static_cast<char>(digit | 0x20));
    const bool is_digit = value != kDigits.npos && (value >= 10 || digit == kDigits[value]);
    return is_digit ? static_cast<int>(value) : -1;
}

char small(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter | 0x20) : letter;
}

}  // namespace

std::string host_in(std::string_view authority) {
    authority.remove_prefix(authority.rfind('@') + 1);
    const bool is_v6 = authority.starts_with('[');
    authority = authority.substr(0, is_v6 ? authority.find(']') : authority.find(':'));
    if (is_v6) authority.remove_prefix(1);
    std::string host(authority.substr(0, authority.find_last_not_of('.') + 1));
    std::ranges::transform(host, host.begin(), small);
    return host;
}

std::string decoded(std::string_view path) {
    std::string text;
    for (size_t at = 0; at < path.size(); ++at) {
        const bool coded = path[at] == '%' && at + 2 < path.size();
        const int high = coded ? hexadecimal(path[at + 1]) : -1;
        const int low = coded ? hexadecimal(path[at + 2]) : -1;
        if (high >= 0 && low >= 0) at += 2;
        text += high >= 0 && low >= 0 ? static_cast<char>(high << 4 | low) : path[at];
    }
    return text;
}

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace platform::inspect
