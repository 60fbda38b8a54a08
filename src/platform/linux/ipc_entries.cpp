#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "base/patience.h"
#include "platform/include/zu_ipc.h"
#include "platform/linux/ipc_server.h"
#include "platform/linux/ipc_wire.h"

namespace platform {

namespace {

constexpr size_t kMaxEntries = 64;

// Filled by static initialisers, so none of it may need one of its own.
constinit std::array<const zu_owal_ipc_entry*, kMaxEntries> g_entries{};
constinit std::array<const char*, kMaxEntries> g_names{};
constinit size_t g_count = 0;

// What the handler that is running has appended, and how much more it may.
constinit std::array<uint8_t, kIpcMaxRecord> g_rows{};
constinit size_t g_rows_size = 0;
constinit size_t g_rows_room = 0;

const zu_owal_ipc_entry* find_entry(std::string_view name) {
    for (size_t i = 0; i < g_count; ++i)
        if (name == g_names[i]) return g_entries[i];
    return nullptr;
}

IpcAnswer answer_entry(const IpcCall& call) {
    const auto* entry = find_entry(call.name);
    if (!entry) return {kIpcRefused};
    const base::RequestPatience patience;
    g_rows_size = 0;
    g_rows_room = g_rows.size() - call.record.size();
    auto* record = call.record.empty() ? nullptr : call.record.data();
    const int32_t result = entry->handler(record, static_cast<uint32_t>(call.record.size()));
    g_rows_room = 0;
    return {.result = result, .rows = std::span(g_rows).first(g_rows_size)};
}

bool enter(const zu_owal_ipc_entry& entry) {
    if (!entry.name || !entry.handler || !ipc_name_ok(entry.name)) return false;
    if (g_count == kMaxEntries || find_entry(entry.name)) return false;
    g_names[g_count] = entry.name;
    g_entries[g_count++] = &entry;
    return true;
}

bool append_rows(const void* rows, uint32_t size) {
    if (size > g_rows_room) return false;
    if (size != 0) memcpy(&g_rows[g_rows_size], rows, size);
    g_rows_size += size;
    g_rows_room -= size;
    return true;
}

bool serve_entries() {
    return g_count == 0 ||
           ipc_server_start(".appcfgd", std::span(g_names).first(g_count), answer_entry);
}

}  // namespace

}  // namespace platform

extern "C" int32_t zu_owal_ipc_register(const zu_owal_ipc_entry* entry) {
    return entry && platform::enter(*entry) ? 0 : -1;
}

extern "C" int32_t zu_owal_ipc_append(const void* rows, uint32_t size) {
    return platform::append_rows(rows, size) ? 0 : -1;
}

extern "C" int32_t zu_owal_ipc_serve() {
    return platform::serve_entries() ? 0 : -1;
}
