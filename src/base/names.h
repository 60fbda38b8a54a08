#pragma once

#include <algorithm>
#include <string_view>

// What may be a name: texts of these characters mean nothing to a shell, and stay within a folder.

namespace base {

/// True for 1 to `longest` of the characters A-Z a-z 0-9 . _ - , but not for "." and "..".
constexpr bool is_name(std::string_view text, size_t longest) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '_' || c == '-';
    };
    return !text.empty() && text.size() <= longest && text != "." && text != ".." &&
           std::ranges::all_of(text, allowed);
}

/// True for what the kernel and we take for the name of a network interface.
constexpr bool is_interface_name(std::string_view text) {
    constexpr size_t kLongest = 15;
    return is_name(text, kLongest);
}

}  // namespace base
