#include "core/mib_chain.h"

#include <array>

using namespace appcfg;

namespace {

std::array<const TableDescriptor*, kTableIds> registry;

constexpr TableDescriptor kUnknownTable{};

const TableDescriptor& descriptor(uint32_t table) {
    return table < kTableIds && registry[table] ? *registry[table] : kUnknownTable;
}

}  // namespace

int32_t mib_chain_clear() {
    registry.fill(nullptr);
    return 0;
}

int32_t mib_chain_register(const TableDescriptor* descriptors, uint32_t count) {
    if (!descriptors || count == 0) return -1;
    for (uint32_t i = 0; i < count; ++i)
        if (descriptors[i].id < kTableIds) registry[descriptors[i].id] = &descriptors[i];
    return 0;
}

int32_t mib_chain_total(uint32_t table) {
    const auto total = descriptor(table).total;
    return total ? total() : 0;
}

int32_t mib_chain_get(uint32_t table, int32_t position, void* record) {
    const auto get = descriptor(table).get;
    return get ? get(position, record) : 1;
}

int32_t mib_chain_update(uint32_t table, const void* record, int32_t position) {
    const auto update = descriptor(table).update;
    return update ? update(record, position) : 1;
}

int32_t mib_chain_add(uint32_t table, const void* record) {
    const auto add = descriptor(table).add;
    return add ? add(table, record) : 1;
}

int32_t mib_chain_delete(uint32_t table, int32_t position) {
    const auto remove = descriptor(table).remove;
    return remove ? remove(table, position) : 1;
}
