#pragma once

#include <cstdint>

// The table registry: the way to a table by its number. Rows are addressed by their position in the
// package, from zero; positions shift down when an earlier row is deleted.

namespace appcfg {

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

}  // namespace appcfg

/// Empties the registry; always 0.
int32_t mib_chain_clear();

/// Enters descriptors, which must live as long as the process; a later one replaces an earlier one
/// of the same id. -1 for no descriptors, else 0.
int32_t mib_chain_register(const appcfg::TableDescriptor* descriptors, uint32_t count);

/// Number of rows; 0 for an unknown table.
int32_t mib_chain_total(uint32_t table);

/// These return 1 on success and 0 on failure. Where the table is unknown or does not offer the
/// operation they return 1 and do nothing, so that a module may run without its optional tables.
[[nodiscard]] int32_t mib_chain_get(uint32_t table, int32_t position, void* record);
int32_t mib_chain_update(uint32_t table, const void* record, int32_t position);
[[nodiscard]] int32_t mib_chain_add(uint32_t table, const void* record);
[[nodiscard]] int32_t mib_chain_delete(uint32_t table, int32_t position);
