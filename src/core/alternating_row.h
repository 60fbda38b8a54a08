#pragma once

#include <cstring>

#include "core/rows.h"

namespace appcfg {

/// A stored row in the middle of its change: services that look at the package while they are told
/// of the change must find the old row there at some calls, the new one at others. Each is made
/// durable when it is shown for the first time; which of them stands is when it is settled.
template <class Row>
class AlternatingRow {
  public:
    /// The row at `position` is stored as `before`.
    AlternatingRow(const TableOf<Row>& table, int32_t position, const Row& before, const Row& after)
        : table_(table),
          position_(position),
          before_(before),
          after_(after),
          same_(std::memcmp(&before, &after, sizeof(Row)) == 0) {}
    ~AlternatingRow() { static_cast<void>(settle()); }
    AlternatingRow(const AlternatingRow&) = delete;
    AlternatingRow& operator=(const AlternatingRow&) = delete;

    /// Rows that are the same are never written; false if the row could not be.
    bool show_before() { return show(false); }
    bool show_after() { return show(true); }

    /// Ends the change with the new row; false unless it would survive a power cut.
    [[nodiscard]] bool store_after() {
        const bool shown = show_after();
        return settle() && shown;
    }

  private:
    bool show(bool after) {
        if (same_ || after == shows_after_) return true;
        if (!std::exchange(alternates_, true)) vsuci_alternate(table_.package);
        if (!write_row(table_, position_, after ? after_ : before_)) return false;
        shows_after_ = after;
        return true;
    }
    bool settle() {
        return !std::exchange(alternates_, false) || vsuci_settle(table_.package) == 0;
    }

    const TableOf<Row>& table_;
    const int32_t position_;
    const Row before_;
    const Row after_;
    const bool same_;
    bool shows_after_ = false;
    bool alternates_ = false;
};

}  // namespace appcfg
