#include "support/recording_commands.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

#include "zu_os.h"

namespace recording_commands {
namespace {

std::mutex mutex;
Lines lines;
std::function<void(const std::string&)> hook;

int note(const std::string& line) {
    std::function<void(const std::string&)> called;
    {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
        called = hook;
    }
    if (called) called(line);
    return 0;
}

bool noted(const std::string& line, int count) {
    const std::lock_guard lock(mutex);
    return std::ranges::count(lines, line) >= count;
}

}  // namespace

void reset() {
    const std::lock_guard lock(mutex);
    lines.clear();
    hook = nullptr;
}

Lines take() {
    const std::lock_guard lock(mutex);
    return std::exchange(lines, {});
}

bool wait_for(const std::string& line, int count) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds(5);
    while (!noted(line, count)) {
        if (Clock::now() >= end) return false;
        uloop_run_timeout(5);
    }
    return true;
}

void on_line(std::function<void(const std::string&)> called) {
    const std::lock_guard lock(mutex);
    hook = std::move(called);
}

}  // namespace recording_commands

using namespace recording_commands;

extern "C" int32_t zu_os_execcmd(const char* line) {
    return note(line);
}

extern "C" int32_t zu_os_vcmd(const char* format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    return note(line);
}

// These stand before the bus library's own.

extern "C" int ubus_lookup_id(ubus_context*, const char* path, uint32_t* id) {
    if (std::string(path) != "rc") return UBUS_STATUS_NOT_FOUND;
    *id = 7;
    return UBUS_STATUS_OK;
}

extern "C" int ubus_invoke_fd(ubus_context*, uint32_t id, const char* method, blob_attr* message,
                              ubus_data_handler_t, void*, int timeout, int) {
    char* json = blobmsg_format_json(message, true);
    const std::string limit = timeout == 3000 ? "" : " within " + std::to_string(timeout);
    note((id == 7 ? "rc " : "? ") + std::string(method) + " " + json + limit);
    std::free(json);
    return UBUS_STATUS_OK;
}
