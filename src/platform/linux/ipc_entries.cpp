#include <array>
#include <span>
#include <string_view>

#include "platform/include/zu_ipc.h"
#include "platform/linux/ipc_server.h"
#include "platform/linux/ipc_wire.h"

namespace {

constexpr size_t kMaxEntries = 64;

// Filled by static initialisers, so none of it may need one of its own.
constinit std::array<const zu_owal_ipc_entry*, kMaxEntries> g_entries{};
constinit std::array<const char*, kMaxEntries> g_names{};
constinit size_t g_count = 0;

const zu_owal_ipc_entry* find_entry(std::string_view name) {
    for (size_t i = 0; i < g_count; ++i)
        if (name == g_names[i]) return g_entries[i];
    return nullptr;
}

IpcAnswer answer_entry(const IpcCall& call) {
    const auto* entry = find_entry(call.name);
    if (!entry) return {kIpcRefused};
    auto* record = call.record.empty() ? nullptr : call.record.data();
    return {entry->handler(record, static_cast<uint32_t>(call.record.size()))};
}

}  // namespace

extern "C" int32_t zu_owal_ipc_register(const zu_owal_ipc_entry* entry) {
    if (!entry || !entry->name || !entry->handler || !ipc_name_ok(entry->name)) return -1;
    if (g_count == kMaxEntries || find_entry(entry->name)) return -1;
    g_names[g_count] = entry->name;
    g_entries[g_count++] = entry;
    return 0;
}

extern "C" int32_t zu_owal_ipc_serve() {
    if (g_count == 0) return 0;
    return ipc_server_start(".appcfgd", std::span(g_names).first(g_count), answer_entry) ? 0 : -1;
}
