#pragma once

#include <bit>
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

namespace appcfg {

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
    uint32_t smallest = 0;
    uint32_t largest = UINT32_MAX;
    uint32_t for_zero = 0;  ///< what a number that is 0 is read and written as

    constexpr bool has_range() const { return smallest != 0 || largest != UINT32_MAX; }

    /// The one bit of `ulBitmap` by which a request selects the column, as its record names it.
    consteval Column bit(uint32_t mask) const {
        if (!std::has_single_bit(mask)) bad_declaration("a column is selected by one bit");
        Column c = *this;
        c.selected_by = static_cast<uint8_t>(std::countr_zero(mask));
        return c;
    }
    /// A 0, stored or to be stored, stands for `value`.
    consteval Column or_else(uint32_t value) const {
        if (kind != ColumnKind::Number) bad_declaration("no number");
        Column c = *this;
        c.for_zero = value;
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
    /// Smallest and largest value that a request may select the column with.
    consteval Column at_least(uint32_t value) const {
        Column c = *this;
        c.smallest = value;
        return c;
    }
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
    uint16_t bitmap_size;    ///< 0: the record has none
    uint32_t bitmap_of_row;  ///< `ulBitmap` of every row read
};

/// A table whose rows are `Row`s.
template <class Row>
struct TableOf : Table {};

/// Size of a record's `ulBitmap`, 0 if it has none.
template <class Record>
consteval size_t bitmap_size() {
    if constexpr (requires { &Record::ulBitmap; })
        return sizeof(Record::ulBitmap);
    else
        return 0;
}

template <class Record>
consteval size_t bitmap_offset() {
    if constexpr (requires { &Record::ulBitmap; })
        return offsetof(Record, ulBitmap);
    else
        return 0;
}

/// Declares a table; does not compile unless the columns, in the order of the members, and
/// `ulBitmap` cover every byte of the record, so that no member can be forgotten.
template <class Record>
consteval TableOf<Record> make_table(uint32_t id, const char* package, const char* type,
                                     std::span<const Column> columns, uint32_t bitmap_of_row = 0) {
    static_assert(std::has_unique_object_representations_v<Record>);
    size_t covered = bitmap_size<Record>();
    size_t next = 0;
    for (const Column& column : columns) {
        if (column.offset < next) bad_declaration("the columns are not in the members' order");
        next = size_t{column.offset} + column.size;
        covered += column.size;
    }
    if (id >= kTableIds) bad_declaration("no such table id");
    if (covered != sizeof(Record)) bad_declaration("a member has no column");
    return {{.id = id,
             .package = package,
             .type = type,
             .columns = columns,
             .record_size = sizeof(Record),
             .bitmap_offset = bitmap_offset<Record>(),
             .bitmap_size = bitmap_size<Record>(),
             .bitmap_of_row = bitmap_of_row}};
}

/// The accessors, one generic implementation for all tables. 1 on success, 0 on failure.
int32_t table_total(const Table& table);
int32_t table_get(const Table& table, int32_t position, void* record);
int32_t table_update(const Table& table, const void* record, int32_t position);
int32_t table_add(const Table& table, const void* record);
int32_t table_remove(const Table& table, int32_t position);

/// Ends every text of a record within its member: one that comes from another process may fill it.
void end_texts(const Table& table, void* record);

/// True if every column that `request` selects is within its range.
[[nodiscard]] bool selected_in_range(const Table& table, const void* request);

/// Copies the columns that `request` selects over those of `row` and adds its bitmap to the row's.
void merge_selected(const Table& table, void* row, const void* request);

/// Typed forms: a request for one table cannot be merged into the row of another.
template <class Row>
[[nodiscard]] bool selected_in_range(const TableOf<Row>& table, const Row& request) {
    return selected_in_range(table, static_cast<const void*>(&request));
}
template <class Row>
void merge_selected(const TableOf<Row>& table, Row& row, const Row& request) {
    merge_selected(table, static_cast<void*>(&row), static_cast<const void*>(&request));
}

// Descriptors for the registry. They are made for tables of external linkage: each is a type of its
// own by the table's name.

/// Descriptor of a table whose one row is provisioned and never added or deleted.
template <const auto& T>
inline constexpr TableDescriptor single_row_table{
    .id = T.id,
    .total = [] { return table_total(T); },
    .get = [](int32_t position, void* record) { return table_get(T, position, record); },
    .update = [](const void* record, int32_t pos) { return table_update(T, record, pos); },
    .add = nullptr,
    .remove = nullptr,
};

/// Descriptor of a table that belongs to another program: rows are read and nothing else.
template <const auto& T>
inline constexpr TableDescriptor read_only_table{
    .id = T.id,
    .total = single_row_table<T>.total,
    .get = single_row_table<T>.get,
    .update = nullptr,
    .add = nullptr,
    .remove = nullptr,
};

template <const auto& T>
inline constexpr TableDescriptor list_table{
    .id = T.id,
    .total = single_row_table<T>.total,
    .get = single_row_table<T>.get,
    .update = single_row_table<T>.update,
    .add = [](uint32_t, const void* record) { return table_add(T, record); },
    .remove = [](uint32_t, int32_t position) { return table_remove(T, position); },
};

/// Descriptor of a table whose id is taken but whose rows are not served.
consteval TableDescriptor unserved_table(uint32_t id) {
    return {id, nullptr, nullptr, nullptr, nullptr, nullptr};
}

}  // namespace appcfg
