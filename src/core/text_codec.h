#pragma once

#include <cstddef>
#include <cstdint>

namespace appcfg {

/// How a binary member is told as text, in packages and on the bus.
struct TextCodec {
    /// Size of the text with its NUL; at most `kLargestCodedText`.
    uint16_t width;
    /// Writes the member as text into `width` bytes.
    void (*format)(const void* member, char* text);
    /// Fills the member from a text of any length; what makes no sense leaves zeros.
    void (*parse)(const char* text, void* member);
};

inline constexpr size_t kLargestCodedText = 64;

}  // namespace appcfg
