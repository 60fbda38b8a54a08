#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "core/declaration.h"
#include "core/mib_chain.h"
#include "core/text_codec.h"

// Tables declared once. A table is a list of columns over a fixed-layout record; every row is one
// anonymous section of the table's type in the table's UCI package, every stored column one option.
// From the declaration follow the accessors that the registry offers, and what a Set request may
// change and within which range.

enum class ColumnKind : uint8_t {
    Number,    ///< an unsigned or signed integer of `size` bytes
    Text,      ///< a character array, NUL-terminated
    Coded,     ///< binary in the record, text in the package and on the bus
    Unstored,  ///< lives in the record only
};

/// No bit: a request cannot select this column.
inline constexpr uint8_t kNoBit = 0xff;

/// When a column is written to the package.
enum class Written : uint8_t {
    Always,
    OnAdd,  ///< with the row; an update leaves it alone
    Never,  ///< another column owns the option
};

struct Column {
    const char* option;
    ColumnKind kind;
    Written written = Written::Always;
    uint8_t selected_by = kNoBit;
    uint16_t offset;
    uint16_t size;
    uint16_t width;  ///< of the stored text, its NUL included
    const TextCodec* codec = nullptr;
    uint32_t largest = UINT32_MAX;

    /// Bit of `ulBitmap` by which a request selects the column.
    consteval Column bit(uint8_t n) const {
        Column c = *this;
        c.selected_by = n;
        return c;
    }
    /// Name of the option where it is not the member's own.
    consteval Column stored_as(const char* name) const {
        Column c = *this;
        c.option = name;
        return c;
    }
    /// Characters that the package keeps of a text, where they are fewer than the member holds.
    consteval Column keeps(uint16_t characters) const {
        if (characters >= size) bad_declaration("keeps more than the member holds");
        Column c = *this;
        c.width = characters + 1;
        return c;
    }
    /// Largest value that a request may select the column with.
    consteval Column at_most(uint32_t value) const {
        Column c = *this;
        c.largest = value;
        return c;
    }
    consteval Column only_added() const {
        Column c = *this;
        c.written = Written::OnAdd;
        return c;
    }
    consteval Column only_read() const {
        Column c = *this;
        c.written = Written::Never;
        return c;
    }
    consteval Column unstored() const {
        Column c = *this;
        c.kind = ColumnKind::Unstored;
        return c;
    }
};

template <class Member>
consteval Column make_column(const char* name, size_t offset) {
    constexpr bool text = std::is_same_v<std::remove_extent_t<Member>, char>;
    static_assert(text || std::is_integral_v<Member>);
    return {.option = name,
            .kind = text ? ColumnKind::Text : ColumnKind::Number,
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(sizeof(Member)),
            .width = static_cast<uint16_t>(sizeof(Member))};
}

consteval Column make_coded_column(const char* name, size_t offset, size_t size,
                                   const TextCodec& codec) {
    if (codec.width > kLargestCodedText) bad_declaration("too long a text");
    return {.option = name,
            .kind = ColumnKind::Coded,
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(size),
            .width = codec.width,
            .codec = &codec};
}

/// A member that is neither stored nor selectable, such as padding.
consteval Column make_filler(const char* name, size_t offset, size_t size) {
    return {.option = name,
            .kind = ColumnKind::Unstored,
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(size),
            .width = 0};
}

#define COLUMN(Record, member) \
    make_column<decltype(Record::member)>(#member, offsetof(Record, member))
#define CODED_COLUMN(Record, member, codec) \
    make_coded_column(#member, offsetof(Record, member), sizeof(Record::member), codec)
#define FILLER(Record, member) \
    make_filler(#member, offsetof(Record, member), sizeof(Record::member))

struct Table {
    uint32_t id;
    const char* package;
    const char* type;
    std::span<const Column> columns;
    uint16_t record_size;
    uint16_t bitmap_offset;
    uint16_t bitmap_size;
    uint32_t bitmap_of_row;  ///< `ulBitmap` of every row read
};

/// Declares a table; does not compile unless the columns, in the order of the members, and
/// `ulBitmap` cover every byte of the record, so that no member can be forgotten.
template <class Record>
consteval Table make_table(uint32_t id, const char* package, const char* type,
                           std::span<const Column> columns, uint32_t bitmap_of_row) {
    static_assert(std::has_unique_object_representations_v<Record>);
    size_t covered = sizeof(Record::ulBitmap);
    size_t next = 0;
    for (const Column& column : columns) {
        if (column.offset < next) bad_declaration("the columns are not in the members' order");
        next = size_t{column.offset} + column.size;
        covered += column.size;
    }
    if (id >= kTableIds) bad_declaration("no such table id");
    if (covered != sizeof(Record)) bad_declaration("a member has no column");
    return {.id = id,
            .package = package,
            .type = type,
            .columns = columns,
            .record_size = sizeof(Record),
            .bitmap_offset = offsetof(Record, ulBitmap),
            .bitmap_size = sizeof(Record::ulBitmap),
            .bitmap_of_row = bitmap_of_row};
}

/// The accessors, one generic implementation for all tables. 1 on success, 0 on failure.
int32_t table_total(const Table& table);
int32_t table_get(const Table& table, int32_t position, void* record);
int32_t table_update(const Table& table, const void* record, int32_t position);
int32_t table_add(const Table& table, const void* record);
int32_t table_remove(const Table& table, int32_t position);

/// True if every column that `request` selects is within its range.
[[nodiscard]] bool selected_in_range(const Table& table, const void* request);

/// Copies the columns that `request` selects over those of `row` and adds its bitmap to the row's.
void merge_selected(const Table& table, void* row, const void* request);

/// Descriptor of a table whose one row is provisioned and never added or deleted.
template <const Table& T>
inline constexpr TableDescriptor single_row_table{
    .id = T.id,
    .total = [] { return table_total(T); },
    .get = [](int32_t position, void* record) { return table_get(T, position, record); },
    .update = [](const void* record, int32_t pos) { return table_update(T, record, pos); },
    .add = nullptr,
    .remove = nullptr,
};

template <const Table& T>
inline constexpr TableDescriptor list_table{
    .id = T.id,
    .total = single_row_table<T>.total,
    .get = single_row_table<T>.get,
    .update = single_row_table<T>.update,
    .add = [](uint32_t, const void* record) { return table_add(T, record); },
    .remove = [](uint32_t, int32_t position) { return table_remove(T, position); },
};
