#include "support/recording_platform.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

#include "zu_ebtables.h"
#include "zu_ipc.h"
#include "zu_log.h"
#include "zu_services.h"

namespace recording_platform {
namespace {

struct Refusal {
    int32_t result;
    int after;
};

std::vector<Call> calls;
std::map<std::string, Refusal> refusals;
std::map<std::string, std::vector<uint8_t>> answers;
bool log_open = false;

std::vector<uint8_t> appended;

/// Filled by static initialisers, perhaps before those of this file have run.
std::vector<const zu_owal_ipc_entry*>& registered() {
    static std::vector<const zu_owal_ipc_entry*> list;
    return list;
}

int32_t record_call(const char* name, bool queued, const void* record, uint32_t size) {
    const auto* bytes = static_cast<const uint8_t*>(record);
    calls.push_back({name, queued, {bytes, bytes + size}});
    const auto refusal = refusals.find(name);
    return refusal == refusals.end() || refusal->second.after-- > 0 ? 0 : refusal->second.result;
}

int32_t record_texts(const char* name, std::initializer_list<const char*> texts) {
    std::string line;
    for (const char* text : texts)
        line += (line.empty() ? "" : " ") + std::string(text);
    return record_call(name, false, line.c_str(), static_cast<uint32_t>(line.size() + 1));
}

int32_t record_words(const char* name, std::vector<uint32_t> words) {
    return record_call(name, false, words.data(),
                       static_cast<uint32_t>(words.size() * sizeof(uint32_t)));
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
    log_open = false;
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

int32_t enter(const std::string& name, void* record, uint32_t size, std::vector<uint8_t>* rows) {
    const auto found = std::ranges::find(
        registered(), name, [](const zu_owal_ipc_entry* entry) { return entry->name; });
    if (found == registered().end()) return -1;
    appended.clear();
    const int32_t result = (*found)->handler(record, size);
    if (rows) *rows = appended;
    return result;
}

void open_log(bool open) {
    log_open = open;
}

}  // namespace recording_platform

using namespace recording_platform;

int32_t zu_ipc_call(const char* name, void* record, uint32_t size) {
    const int32_t result = record_call(name, false, record, size);
    if (const auto found = answers.find(name); found != answers.end())
        std::memcpy(record, found->second.data(), std::min<size_t>(size, found->second.size()));
    return result;
}

int32_t zu_ipc_asyn_call(const char* name, const void* record, uint32_t size) {
    return record_call(name, true, record, size);
}

int32_t zu_owal_ipc_register(const zu_owal_ipc_entry* entry) {
    registered().push_back(entry);
    return 0;
}

int32_t zu_owal_ipc_append(const void* rows, uint32_t size) {
    const auto* bytes = static_cast<const uint8_t*>(rows);
    appended.insert(appended.end(), bytes, bytes + size);
    return 0;
}

int32_t zu_owal_ipc_serve() {
    return 0;
}

int32_t zu_log_print_on(uint32_t, uint32_t) {
    return log_open;
}

#define SERVICE_INIT(name)              \
    int32_t name() {                    \
        return record_words(#name, {}); \
    }
SERVICE_INIT(zu_sec_wlan_isolation_init)
SERVICE_INIT(zu_sec_dnsfilter_init)
SERVICE_INIT(zu_sec_ipfilter_init)
SERVICE_INIT(zu_sec_urlfilter_init)
SERVICE_INIT(zu_netapp_loopback_init)
SERVICE_INIT(init_macfilter)
SERVICE_INIT(zu_qos_init)

int32_t zu_netif_set_dport_flow(uint32_t port, uint32_t index, uint32_t value) {
    return record_words(__func__, {port, index, value});
}
int32_t zu_netif_set_sport_flow(uint32_t port, uint32_t index, uint32_t value) {
    return record_words(__func__, {port, index, value});
}
int32_t zu_netif_set_cpu_rate(uint32_t rate) {
    return record_words(__func__, {rate});
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
