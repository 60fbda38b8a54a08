#pragma once

#include <cstdint>

// What UCI takes for a name. libuci itself lets names through that it will not read back.

namespace storage {

inline constexpr uint32_t kLongestName = 127;

/// Letters, digits, '_' and '-', as many as a UciFile takes: a bare file name in the folder of
/// packages.
bool is_package_name(const char* text);

/// Letters, digits and '_', of any length: what libuci reads back as the name of a section.
bool is_section_name(const char* text);

/// A name that this platform gives: to an option, or as type to a new section.
bool is_name(const char* text);

/// A type that reads back. Types are written without quotes.
bool is_type(const char* text);

}  // namespace storage
