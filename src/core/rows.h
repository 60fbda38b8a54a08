#pragma once

#include <bit>
#include <cstdint>
#include <utility>

#include "core/mib_chain.h"
#include "core/table.h"
#include "vsuci.h"

// The rows of a table, typed by the table: how operations read, find, number and write them. All of
// it goes through the registry, so that a table which is not served reads as one without rows.

namespace appcfg {

/// Rows that most list tables hold; an add finds such a table full when it holds exactly so many.
inline constexpr int32_t kListCapacity = 100;

template <class Row>
int32_t count_rows(const TableOf<Row>& table) {
    return mib_chain_total(table.id);
}

/// These return true on success. A row that does not exist reads as the columns' defaults; what an
/// unserved table is asked for is done without effect, `row` then stays as it is.
template <class Row>
[[nodiscard]] bool read_row(const TableOf<Row>& table, int32_t position, Row& row) {
    return mib_chain_get(table.id, position, &row) != 0;
}

template <class Row>
bool write_row(const TableOf<Row>& table, int32_t position, const Row& row) {
    return mib_chain_update(table.id, &row, position) != 0;
}

template <class Row>
[[nodiscard]] bool add_row(const TableOf<Row>& table, const Row& row) {
    return mib_chain_add(table.id, &row) != 0;
}

template <class Row>
[[nodiscard]] bool delete_row(const TableOf<Row>& table, int32_t position) {
    return mib_chain_delete(table.id, position) != 0;
}

/// While it lives, changes of rows in the table's package are not written: they become one durable
/// change, all or nothing, when they are stored. Reads see them. Whoever else opens the package
/// waits meanwhile: nothing may be asked of the platform in between.
class RowsTogether {
  public:
    explicit RowsTogether(const Table& table) : package_(table.package) { vsuci_hold(package_); }
    ~RowsTogether() { store(); }
    RowsTogether(const RowsTogether&) = delete;
    RowsTogether& operator=(const RowsTogether&) = delete;

    /// False if the package stays as it was before.
    bool store() { return !package_ || vsuci_release(std::exchange(package_, nullptr)) == 0; }

  private:
    const char* package_;
};

/// Reads the rows in order into `row` and asks `stop(row, position)` of each, until it says true.
/// Rows that cannot be read are passed over. Position of the row it stopped at, -1 if at none;
/// `row` holds the row that was read last.
template <class Row, class Stop>
int32_t walk_rows(const TableOf<Row>& table, Row& row, Stop stop) {
    const int32_t total = count_rows(table);
    for (int32_t position = 0; position < total; ++position)
        if (read_row(table, position, row) && stop(row, position)) return position;
    return -1;
}

/// Calls `each(row, position)` for every readable row, in order.
template <class Row, class Each>
void for_each_row(const TableOf<Row>& table, Each each) {
    Row row{};
    walk_rows(table, row, [&](Row& r, int32_t position) {
        each(r, position);
        return false;
    });
}

/// Position of the first row for which `wanted(row)` is true, -1 if there is none.
template <class Row, class Wanted>
int32_t find_row(const TableOf<Row>& table, Row& row, Wanted wanted) {
    return walk_rows(table, row, [&](const Row& r, int32_t) { return wanted(r); });
}

/// Position of the first row whose column `key` is `index`, -1 if there is none.
template <class Row, class Index>
int32_t find_index(const TableOf<Row>& table, Row& row, Index Row::*key, Index index) {
    return find_row(table, row, [=](const Row& r) { return r.*key == index; });
}

/// One more than the largest index among the rows that `counts`, in the width of the column.
template <class Row, class Index, class Counts>
Index next_index(const TableOf<Row>& table, Index Row::*key, Counts counts) {
    Index largest = 0;
    for_each_row(table, [&](const Row& r, int32_t) {
        if (counts(r) && r.*key > largest) largest = r.*key;
    });
    return static_cast<Index>(largest + 1);
}

/// The index a new row gets: one more than the largest stored.
template <class Row, class Index>
Index next_index(const TableOf<Row>& table, Index Row::*key) {
    return next_index(table, key, [](const Row&) { return true; });
}

/// The lowest index from 1 to `largest`, at most 31, that no row has; 0 if all are taken.
template <class Row, class Index>
Index lowest_free_index(const TableOf<Row>& table, Index Row::*key, Index largest) {
    uint32_t used = 1;
    for_each_row(table, [&](const Row& r, int32_t) {
        if (r.*key <= largest) used |= 1u << r.*key;
    });
    const auto index = static_cast<Index>(std::countr_one(used));
    return index <= largest ? index : Index{0};
}

/// Writes `tell(row)` of every readable row, in table order, into `told`, which has room for `size`
/// bytes. False, with nothing written, if the list has more rows than that.
template <class Row, class Told, class Tell>
[[nodiscard]] bool list_rows(const TableOf<Row>& table, Told* told, uint32_t size, Tell tell) {
    const Told* const end = told + size / sizeof(*told);
    if (count_rows(table) > end - told) return false;
    Row row;
    // Another program may have added rows since they were counted.
    walk_rows(table, row, [&](const Row& r, int32_t) {
        if (told != end) *told++ = tell(r);
        return told == end;
    });
    return true;
}

}  // namespace appcfg
