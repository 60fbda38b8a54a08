#include "platform/linux/platformd/history.h"

#include <deque>

#include "platform/linux/record_text.h"

namespace platform::platformd {

namespace {

constexpr size_t kMaxCalls = 4096;
constexpr size_t kMaxBytes = 4 << 20;

std::deque<PastCall> g_calls;
uint64_t g_first_number = 1;
size_t g_bytes;

size_t bytes_of(const PastCall& call) {
    return call.record.size() + call.returned.size();
}

void forget_oldest() {
    g_bytes -= bytes_of(g_calls.front());
    g_calls.pop_front();
    ++g_first_number;
}

std::string line_of(const PastCall& call) {
    std::string line = std::string(call.kind) + ' ' + call.name;
    if (call.layout) {
        append_record(line, *call.layout, call.record);
    } else if (!call.record.empty()) {
        line += " record=";
        append_hex(line, call.record);
    }
    line += " -> " + std::to_string(call.result);
    if (call.layout && !call.returned.empty())
        append_changes(line, *call.layout, call.record, call.returned);
    return line;
}

}  // namespace

void remember_call(PastCall call) {
    g_bytes += bytes_of(call);
    g_calls.push_back(std::move(call));
    while (g_calls.size() > kMaxCalls || g_bytes > kMaxBytes)
        forget_oldest();
}

void forget_calls() {
    while (!g_calls.empty())
        forget_oldest();
}

uint64_t append_history(std::string& out, uint64_t from, size_t limit) {
    if (from < g_first_number || from > next_call_number()) from = g_first_number;
    for (; from < next_call_number(); ++from) {
        auto line = line_of(g_calls[from - g_first_number]);
        if (line.size() >= limit) line.resize(limit - 1);
        if (out.size() + line.size() >= limit) break;
        out += line + '\n';
    }
    return from;
}

uint64_t next_call_number() {
    return g_first_number + g_calls.size();
}

}  // namespace platform::platformd
