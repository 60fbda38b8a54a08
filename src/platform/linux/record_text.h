#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/include/zu_record.h"

// Platform records as people read them.

namespace platform {

/// Appends the record's fields as `name=value`, separated by blanks: numbers in decimal, the
/// elements of an array separated by commas, texts quoted, bytes in hexadecimal. Groups appear as
/// `name[3].member=value`, those that are all zero are left out. `record` is `layout.size` long.
void append_record(std::string& out, const RecordLayout& layout, std::span<const uint8_t> record);

/// Appends only the fields in which `after` differs from `before`, whole array members each.
void append_changes(std::string& out, const RecordLayout& layout, std::span<const uint8_t> before,
                    std::span<const uint8_t> after);

/// Appends the text in quotes; what is not printable ASCII as "\xNN", quotes and backslashes
/// escaped.
void append_quoted(std::string& out, std::string_view text);

/// Appends two hexadecimal digits per byte.
void append_hex(std::string& out, std::span<const uint8_t> bytes);
/// The other way round, in the place of what `bytes` holds. False when the text is anything else.
bool parse_hex(std::string_view digits, std::vector<uint8_t>& bytes);

}  // namespace platform
