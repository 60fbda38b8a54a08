#pragma once

#include <cstdint>

// The table registry: the way to a table by its number. Rows are addressed by their position in the
// package, from zero; positions shift down when an earlier row is deleted.

/// Table ids are below this.
inline constexpr uint32_t kTableIds = 804;

/// The operations of one table. An operation that the table does not offer is null.
struct TableDescriptor {
    uint32_t id;
    /// Number of rows.
    int32_t (*total)();
    /// These return 1 on success and 0 on failure.
    int32_t (*get)(int32_t position, void* record);
    int32_t (*update)(const void* record, int32_t position);
    int32_t (*add)(uint32_t id, const void* record);
    int32_t (*remove)(uint32_t id, int32_t position);
};

/// Empties the registry; always 0.
int32_t mib_chain_clear();

/// Enters descriptors, which must live as long as the process; a later one replaces an earlier one
/// of the same id. -1 for no descriptors, else 0.
int32_t mib_chain_register(const TableDescriptor* descriptors, uint32_t count);

/// Number of rows; 0 for an unknown table.
int32_t mib_chain_total(uint32_t table);

/// These return 1 on success and 0 on failure. Where the table is unknown or does not offer the
/// operation they return 1 and do nothing, so that a module may run without its optional tables.
[[nodiscard]] int32_t mib_chain_get(uint32_t table, int32_t position, void* record);
int32_t mib_chain_update(uint32_t table, const void* record, int32_t position);
[[nodiscard]] int32_t mib_chain_add(uint32_t table, const void* record);
[[nodiscard]] int32_t mib_chain_delete(uint32_t table, int32_t position);

/// Position of the first readable row of list `table` for which `wanted` is true, -1 if there is
/// none. The row stands in `row` afterwards.
template <class Row, class Wanted>
int32_t find_row(uint32_t table, Row& row, Wanted wanted) {
    const int32_t total = mib_chain_total(table);
    for (int32_t position = 0; position < total; ++position)
        if (mib_chain_get(table, position, &row) && wanted(row)) return position;
    return -1;
}

/// The row whose index column `key` is `index`; see `find_row`.
template <class Row, class Index>
int32_t find_index(uint32_t table, Row& row, Index Row::*key, Index index) {
    return find_row(table, row, [=](const Row& r) { return r.*key == index; });
}

/// The index a new row gets: one more than the largest stored, in the width of the column.
template <class Row, class Index>
Index next_index(uint32_t table, Index Row::*key) {
    Index largest = 0;
    Row row;
    find_row(table, row, [&](const Row& r) {
        if (r.*key > largest) largest = r.*key;
        return false;
    });
    return static_cast<Index>(largest + 1);
}

/// Writes the index of every readable row, in table order, into `indexes`, which has room for
/// `size` bytes. False, with nothing written, if the list has more rows than that.
template <class Row, class Index>
[[nodiscard]] bool list_indexes(uint32_t table, Index Row::*key, Index* indexes, uint32_t size) {
    const int32_t total = mib_chain_total(table);
    if (static_cast<uint32_t>(total) > size / sizeof(*indexes)) return false;
    for (int32_t position = 0; position < total; ++position) {
        Row row;
        if (mib_chain_get(table, position, &row)) *indexes++ = row.*key;
    }
    return true;
}
