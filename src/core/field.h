#pragma once

#include <cstdint>
#include <cstring>

// Integer members of a record, by offset and width.

namespace appcfg::field {

template <class Number>
uint32_t load_as(const void* record, uint16_t offset) {
    Number number;
    std::memcpy(&number, static_cast<const uint8_t*>(record) + offset, sizeof(number));
    return static_cast<uint32_t>(number);
}

template <class Number>
void store_as(void* record, uint16_t offset, uint32_t value) {
    const auto number = static_cast<Number>(value);
    std::memcpy(static_cast<uint8_t*>(record) + offset, &number, sizeof(number));
}

inline uint32_t load(const void* record, uint16_t offset, uint16_t size) {
    switch (size) {
        case 1:
            return load_as<uint8_t>(record, offset);
        case 2:
            return load_as<uint16_t>(record, offset);
        default:
            return load_as<uint32_t>(record, offset);
    }
}

/// Stores the low bytes of `value`: a number is narrowed to its member, never refused.
inline void store(void* record, uint16_t offset, uint16_t size, uint32_t value) {
    switch (size) {
        case 1:
            return store_as<uint8_t>(record, offset, value);
        case 2:
            return store_as<uint16_t>(record, offset, value);
        default:
            return store_as<uint32_t>(record, offset, value);
    }
}

}  // namespace appcfg::field
