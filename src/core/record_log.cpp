#include "core/record_log.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "core/field.h"

namespace appcfg {
namespace {

using platform::FieldKind;
using platform::RecordField;

constexpr size_t kNameSize = 96;

struct Line {
    const LogSource& source;
    const char* operation;
    int line;
};

bool is_zero(const uint8_t* bytes, size_t size) {
    return std::all_of(bytes, bytes + size, [](uint8_t byte) { return byte == 0; });
}

void log_number(const Line& at, const char* name, const RecordField& field, const uint8_t* value) {
    const uint32_t number = field::load(value, 0, field.size);
    if (field.kind == FieldKind::Signed)
        log_line(at.source, at.operation, at.line, "%s [%" PRId32 "].\r\n\r\n", name,
                 static_cast<int32_t>(number));
    else
        log_line(at.source, at.operation, at.line, "%s [%" PRIu32 "].\r\n\r\n", name, number);
}

void log_real(const Line& at, const char* name, const uint8_t* value) {
    double real;
    std::memcpy(&real, value, sizeof(real));
    log_line(at.source, at.operation, at.line, "%s [%f].\r\n\r\n", name, real);
}

void log_text(const Line& at, const char* name, const char* text, size_t size) {
    log_line(at.source, at.operation, at.line, "%s [%.*s].\r\n\r\n", name,
             static_cast<int>(strnlen(text, size)), text);
}

void log_bytes(const Line& at, const char* name, const uint8_t* bytes, size_t size) {
    char digits[65] = {};
    for (size_t i = 0; i < std::min(size, sizeof(digits) / 2); ++i)
        std::snprintf(digits + 2 * i, 3, "%02x", bytes[i]);
    log_line(at.source, at.operation, at.line, "%s [%s].\r\n\r\n", name, digits);
}

void log_element(const Line& at, const char* name, const RecordField& field, const uint8_t* value) {
    switch (field.kind) {
        case FieldKind::Unsigned:
        case FieldKind::Signed:
            return log_number(at, name, field, value);
        case FieldKind::Real:
            return log_real(at, name, value);
        case FieldKind::Text:
            return log_text(at, name, reinterpret_cast<const char*>(value), field.size);
        case FieldKind::Bytes:
            return log_bytes(at, name, value, field.size);
        case FieldKind::Group:
            if (!is_zero(value, field.size))
                log_fields(at.source, at.operation, at.line, name, field.element->fields, value);
            return;
        case FieldKind::Padding:
            return;
    }
}

void log_field(const Line& at, const char* label, const RecordField& field, const uint8_t* record) {
    for (uint16_t i = 0; i < field.count; ++i) {
        char name[kNameSize];
        if (field.count > 1 || field.kind == FieldKind::Group)
            std::snprintf(name, sizeof(name), "%s.%s[%u]", label, field.name, i);
        else
            std::snprintf(name, sizeof(name), "%s.%s", label, field.name);
        log_element(at, name, field, record + field.offset + size_t{i} * field.size);
    }
}

void log_column(const Line& at, const Column& column, const uint8_t* row) {
    const uint8_t* value = row + column.offset;
    if (column.kind == ColumnKind::Number)
        log_line(at.source, at.operation, at.line, "%s [%" PRIu32 "].\r\n\r\n", column.option,
                 field::load(value, 0, column.size));
    else if (column.kind == ColumnKind::Text)
        log_text(at, column.option, reinterpret_cast<const char*>(value), column.size);
}

bool is_open(const LogSource& source) {
    return zu_log_print_on(source.module, source.level) != 0;
}

}  // namespace

void log_fields(const LogSource& source, const char* operation, int line, const char* label,
                std::span<const RecordField> fields, const void* record) {
    if (!is_open(source)) return;
    for (const RecordField& field : fields)
        log_field({source, operation, line}, label, field, static_cast<const uint8_t*>(record));
}

void log_columns(const LogSource& source, const char* operation, int line, const Table& table,
                 const void* row) {
    if (!is_open(source)) return;
    for (const Column& column : table.columns)
        log_column({source, operation, line}, column, static_cast<const uint8_t*>(row));
    if (table.bitmap_size != 0)
        log_line(source, operation, line, "ulBitmap [%" PRIu32 "].\r\n\r\n",
                 field::load(row, table.bitmap_offset, table.bitmap_size));
}

}  // namespace appcfg
