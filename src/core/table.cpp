#include "core/table.h"

#include "core/bounded.h"
#include "core/field.h"
#include "vsuci.h"

namespace appcfg {
namespace {

/// Room for a section's path or name, as the configuration store fills it.
struct SectionName {
    char text[128] = {};
};

SectionName section_path(const Table& table, int32_t position) {
    SectionName path;
    snprintf_s(path.text, sizeof(path.text), sizeof(path.text) - 1, "%s%s[%d]", "@", table.type,
               position);
    return path;
}

void* member_of(void* record, const Column& column) {
    return static_cast<uint8_t*>(record) + column.offset;
}

const void* member_of(const void* record, const Column& column) {
    return static_cast<const uint8_t*>(record) + column.offset;
}

/// 0 for records without a bitmap: they select nothing.
uint32_t bitmap_of(const Table& table, const void* record) {
    if (table.bitmap_size == 0) return 0;
    return field::load(record, table.bitmap_offset, table.bitmap_size);
}

void set_bitmap(const Table& table, void* record, uint32_t bitmap) {
    if (table.bitmap_size != 0)
        field::store(record, table.bitmap_offset, table.bitmap_size, bitmap);
}

bool selects(uint32_t bitmap, const Column& column) {
    return column.selected_by != kNoBit && (bitmap >> column.selected_by & 1u);
}

uint32_t effective(const Column& column, uint32_t number) {
    return number != 0 ? number : column.for_zero;
}

void read_number(const Table& table, const Column& column, const char* section, void* record) {
    const auto stored =
        static_cast<uint32_t>(vsuci_get_int32(table.package, section, column.option));
    field::store(record, column.offset, column.size, effective(column, stored));
}

void read_column(const Table& table, const Column& column, const char* section, void* record) {
    char coded[kLargestCodedText];
    switch (column.kind) {
        case ColumnKind::Number:
            return read_number(table, column, section, record);
        case ColumnKind::Text:
            vsuci_get_string(static_cast<char*>(member_of(record, column)), column.width,
                             table.package, section, column.option);
            return;
        case ColumnKind::Coded:
            vsuci_get_string(coded, column.width, table.package, section, column.option);
            return column.codec->parse(coded, member_of(record, column));
        case ColumnKind::Unstored:
            return;
    }
}

void write_column(const Table& table, const Column& column, const char* section,
                  const void* record) {
    char coded[kLargestCodedText];
    switch (column.kind) {
        case ColumnKind::Number:
            vsuci_set_int32(static_cast<int32_t>(
                                effective(column, field::load(record, column.offset, column.size))),
                            table.package, section, column.option);
            return;
        case ColumnKind::Text:
            vsuci_set_string(static_cast<const char*>(member_of(record, column)), column.width,
                             table.package, section, column.option);
            return;
        case ColumnKind::Coded:
            column.codec->format(member_of(record, column), coded);
            vsuci_set_string(coded, column.width, table.package, section, column.option);
            return;
        case ColumnKind::Unstored:
            return;
    }
}

/// Writes the columns that go with `occasion`, which is an add or any update.
void write_row(const Table& table, const char* section, const void* record, Written occasion) {
    for (const Column& column : table.columns)
        if (column.written == Written::Always || column.written == occasion)
            write_column(table, column, section, record);
}

}  // namespace

int32_t table_total(const Table& table) {
    int32_t count = 0;
    vsuci_total(table.package, table.type, &count, 0);
    return count;
}

int32_t table_get(const Table& table, int32_t position, void* record) {
    if (!record) return 0;
    memset_s(record, table.record_size, 0, table.record_size);
    const SectionName section = section_path(table, position);
    vsuci_hold(table.package);
    for (const Column& column : table.columns)
        read_column(table, column, section.text, record);
    static_cast<void>(vsuci_release(table.package));
    set_bitmap(table, record, table.bitmap_of_row);
    return 1;
}

int32_t table_update(const Table& table, const void* record, int32_t position) {
    if (!record) return 0;
    const SectionName section = section_path(table, position);
    vsuci_hold(table.package);
    write_row(table, section.text, record, Written::Always);
    return vsuci_release(table.package) == 0;
}

int32_t table_add(const Table& table, const void* record) {
    if (!record) return 0;
    SectionName section;
    vsuci_hold(table.package);
    const int32_t added = vsuci_add(table.package, table.type, section.text, sizeof(section.text));
    if (added == 0) write_row(table, section.text, record, Written::OnAdd);
    const int32_t stored = vsuci_release(table.package);
    return added == 0 && stored == 0;
}

int32_t table_remove(const Table& table, int32_t position) {
    vsuci_del(table.package, section_path(table, position).text);
    return 1;
}

void end_texts(const Table& table, void* record) {
    for (const Column& column : table.columns)
        if (column.kind == ColumnKind::Text)
            static_cast<char*>(member_of(record, column))[column.size - 1] = '\0';
}

bool selected_in_range(const Table& table, const void* request) {
    const uint32_t bitmap = bitmap_of(table, request);
    for (const Column& column : table.columns) {
        if (!selects(bitmap, column) || !column.has_range()) continue;
        const uint32_t value = field::load(request, column.offset, column.size);
        if (value < column.smallest || value > column.largest) return false;
    }
    return true;
}

void merge_selected(const Table& table, void* row, const void* request) {
    const uint32_t bitmap = bitmap_of(table, request);
    for (const Column& column : table.columns)
        if (selects(bitmap, column))
            memcpy_s(member_of(row, column), column.size, member_of(request, column), column.size);
    set_bitmap(table, row, bitmap_of(table, row) | bitmap);
}

}  // namespace appcfg
