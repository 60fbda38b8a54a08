#include "support/recording_platform.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

#include "zu_ebtables.h"
#include "zu_ipc.h"
#include "zu_log.h"

namespace recording_platform {
namespace {

struct Refusal {
    int32_t result;
    int after;
};

std::vector<Call> calls;
std::map<std::string, Refusal> refusals;
std::map<std::string, std::vector<uint8_t>> answers;
std::function<int32_t(const Call&)> asked;

/// Filled by static initialisers, perhaps before those of this file have run.
std::vector<const zu_owal_ipc_entry*>& registered() {
    static std::vector<const zu_owal_ipc_entry*> list;
    return list;
}

int32_t record_call(const char* name, const void* record, uint32_t size) {
    const auto* bytes = static_cast<const uint8_t*>(record);
    calls.push_back({name, {bytes, bytes + size}});
    const auto refusal = refusals.find(name);
    if (refusal != refusals.end() && refusal->second.after-- <= 0) return refusal->second.result;
    return asked ? asked(calls.back()) : 0;
}

int32_t record_texts(const char* name, std::initializer_list<const char*> texts) {
    std::string line;
    for (const char* text : texts)
        line += (line.empty() ? "" : " ") + std::string(text);
    return record_call(name, line.c_str(), static_cast<uint32_t>(line.size() + 1));
}

}  // namespace

uint32_t Call::word(size_t offset) const {
    uint32_t value = 0;
    std::memcpy(&value, record.data() + offset, sizeof(value));
    return value;
}

std::vector<uint32_t> Call::words() const {
    std::vector<uint32_t> words(record.size() / sizeof(uint32_t));
    std::memcpy(words.data(), record.data(), words.size() * sizeof(uint32_t));
    return words;
}

std::string Call::text(size_t offset) const {
    return reinterpret_cast<const char*>(record.data() + offset);
}

void reset() {
    calls.clear();
    refusals.clear();
    answers.clear();
    asked = nullptr;
}

void on_call(std::function<int32_t(const Call&)> hook) {
    asked = std::move(hook);
}

std::vector<Call> take() {
    return std::exchange(calls, {});
}

std::vector<std::string> take_names() {
    std::vector<std::string> names;
    for (const Call& call : take())
        names.push_back(call.name);
    return names;
}

void refuse(const std::string& name, int32_t result, int after) {
    refusals[name] = {result, after};
}

void answer(const std::string& name, std::vector<uint8_t> record) {
    answers[name] = std::move(record);
}

const std::vector<const zu_owal_ipc_entry*>& entries() {
    return registered();
}

int32_t enter(const std::string& name, void* record, uint32_t size) {
    const auto found = std::ranges::find(
        registered(), name, [](const zu_owal_ipc_entry* entry) { return entry->name; });
    if (found == registered().end()) return -1;
    return (*found)->handler(record, size);
}

}  // namespace recording_platform

using namespace recording_platform;

int32_t zu_ipc_call(const char* name, void* record, uint32_t size) {
    const int32_t result = record_call(name, record, size);
    if (const auto found = answers.find(name); found != answers.end())
        std::memcpy(record, found->second.data(), std::min<size_t>(size, found->second.size()));
    return result;
}

int32_t zu_ipc_asyn_call(const char* name, const void* record, uint32_t size) {
    return record_call(name, record, size);
}

int32_t zu_owal_ipc_register(const zu_owal_ipc_entry* entry) {
    registered().push_back(entry);
    return 0;
}

int32_t zu_owal_ipc_append(const void*, uint32_t) {
    return 0;
}

int32_t zu_owal_ipc_serve() {
    return 0;
}

int32_t zu_log_print_on(uint32_t, uint32_t) {
    return 0;
}

int32_t zu_ebtables_newchain(const char* table, const char* chain, const char* policy) {
    return record_texts(__func__, {table, chain, policy});
}
int32_t zu_ebtables_rule_op(const char* table, const char* op, const char* chain,
                            const char* rule) {
    return record_texts(__func__, {table, op, chain, rule});
}
int32_t zu_ebtables_flushchain(const char* table, const char* chain) {
    return record_texts(__func__, {table, chain});
}
int32_t zu_ebtables_delchain(const char* table, const char* chain) {
    return record_texts(__func__, {table, chain});
}
