#include "platform/linux/record_text.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace platform {

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

using Bytes = std::span<const uint8_t>;

__attribute__((format(printf, 2, 3))) void append_format(std::string& out, const char* format,
                                                         ...) {
    char text[64];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    out += text;
}

bool is_zero(Bytes bytes) {
    return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0; });
}

uint64_t load_unsigned(Bytes bytes) {
    uint8_t u8;
    uint16_t u16;
    uint32_t u32;
    uint64_t u64;
    switch (bytes.size()) {
        case sizeof(u8):
            return memcpy(&u8, bytes.data(), sizeof(u8)), u8;
        case sizeof(u16):
            return memcpy(&u16, bytes.data(), sizeof(u16)), u16;
        case sizeof(u32):
            return memcpy(&u32, bytes.data(), sizeof(u32)), u32;
        default:
            return memcpy(&u64, bytes.data(), sizeof(u64)), u64;
    }
}

int64_t load_signed(Bytes bytes) {
    const auto unused_bits = 64 - 8 * bytes.size();
    return static_cast<int64_t>(load_unsigned(bytes) << unused_bits) >> unused_bits;
}

double load_real(Bytes bytes) {
    double value;
    memcpy(&value, bytes.data(), sizeof(value));
    return value;
}

void append_element(std::string& out, FieldKind kind, Bytes element) {
    const auto* text = reinterpret_cast<const char*>(element.data());
    switch (kind) {
        case FieldKind::Unsigned:
            return append_format(out, "%llu",
                                 static_cast<unsigned long long>(load_unsigned(element)));
        case FieldKind::Signed:
            return append_format(out, "%lld", static_cast<long long>(load_signed(element)));
        case FieldKind::Real:
            return append_format(out, "%.15g", load_real(element));
        case FieldKind::Text:
            return append_quoted(out, {text, strnlen(text, element.size())});
        default:
            return append_hex(out, element);
    }
}

struct Printer {
    std::string& out;
    const std::string prefix;
    const Bytes before;  // empty: everything is printed

    void field(const RecordField& field, Bytes record) {
        const auto bytes = record.subspan(field.offset, size_t{field.size} * field.count);
        if (field.kind == FieldKind::Padding && is_zero(bytes)) return;
        if (!before.empty() &&
            std::ranges::equal(bytes, before.subspan(field.offset, bytes.size())))
            return;
        if (field.kind == FieldKind::Group) return group(field, bytes);
        begin(field.name);
        for (size_t i = 0; i < field.count; ++i) {
            if (i != 0) out += ',';
            append_element(out, field.kind, bytes.subspan(i * field.size, field.size));
        }
    }

    void group(const RecordField& field, Bytes bytes) {
        for (size_t i = 0; i < field.count; ++i) {
            const auto element = bytes.subspan(i * field.size, field.size);
            if (is_zero(element)) continue;
            Printer inner{out, prefix + field.name + '[' + std::to_string(i) + "].", {}};
            for (const auto& member : field.element->fields)
                inner.field(member, element);
        }
    }

    void begin(const char* name) {
        if (!out.empty() && out.back() != ' ') out += ' ';
        out += prefix;
        out += name;
        out += '=';
    }
};

}  // namespace

void append_record(std::string& out, const RecordLayout& layout, Bytes record) {
    append_changes(out, layout, {}, record);
}

void append_changes(std::string& out, const RecordLayout& layout, Bytes before, Bytes after) {
    Printer printer{out, {}, before};
    for (const auto& field : layout.fields)
        printer.field(field, after);
}

void append_quoted(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        if (c >= ' ' && c <= '~')
            out += c;
        else
            append_format(out, "\\x%02x", static_cast<unsigned char>(c));
    }
    out += '"';
}

void append_hex(std::string& out, Bytes bytes) {
    for (const auto byte : bytes) {
        out += kHexDigits[byte >> 4];
        out += kHexDigits[byte & 0xf];
    }
}

bool parse_hex(std::string_view digits, std::vector<uint8_t>& bytes) {
    if (digits.size() % 2 != 0) return false;
    bytes.clear();
    for (size_t i = 0; i < digits.size(); ++i) {
        const auto value = kHexDigits.find(static_cast<char>(tolower(digits[i])));
        if (value == kHexDigits.npos) return false;
        if (i % 2 == 0) bytes.push_back(0);
        bytes.back() = static_cast<uint8_t>(bytes.back() << 4 | value);
    }
    return true;
}

}  // namespace platform
