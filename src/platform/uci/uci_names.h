#pragma once

#include <cstddef>
#include <string_view>

/// True for a name of 1 to `longest` letters, digits, '_' and the characters of `more`.
inline bool uci_is_name(const char* text, size_t longest, std::string_view more = {}) {
    if (!text || !*text) return false;
    for (size_t n = 0; text[n]; ++n) {
        const char c = text[n];
        const bool plain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        if (n == longest || !(plain || more.find(c) != more.npos)) return false;
    }
    return true;
}
