#pragma once

#include <cstddef>

namespace board {

/// The beginning of a property of the board's devicetree.
struct Property {
    static constexpr size_t kMost = 31;

    char text[kMost + 1] = {};  ///< what was read, with a NUL behind it
    size_t size = 0;            ///< bytes read; 0 if the property is empty or could not be read
    int open_error = 0;         ///< 0, or the errno with which it could not be opened
    int read_error = 0;         ///< 0, or the errno with which it could not be read
};

/// Reads up to 31 bytes of property `name` of the devicetree's root. As a text it ends at the first
/// NUL: of a property with several entries only the first is seen.
Property read_property(const char* name);

}  // namespace board
