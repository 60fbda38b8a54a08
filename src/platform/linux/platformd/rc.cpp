#include "platform/linux/platformd/rc.h"

extern "C" {
#include <libubus.h>
}

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <map>
#include <string>

#include "base/child.h"
#include "base/names.h"
#include "platform/linux/platformd/history.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd {

namespace {

constexpr int kReconnectMs = 1000;
constexpr size_t kMaxJobs = 32;
constexpr std::string_view kActions[] = {"enable", "disable", "start", "stop", "restart", "reload"};

/// What the actions that succeeded have left of a script's service.
struct RcState {
    bool enabled;
    bool running;
};

/// One script that is running for a caller who waits for it.
struct Job : uloop_process {
    std::string name;
    std::string action;
    ubus_request_data caller;
    bool answerable;
};

const char* g_init_directory;
const char* g_bus_socket;
ubus_context* g_bus;
uloop_timeout g_reconnect;
std::list<Job> g_jobs;
std::map<std::string, RcState, std::less<>> g_states;

bool is_script_name(std::string_view name) {
    constexpr size_t kLongest = 64;
    return base::is_name(name, kLongest) && name.front() != '.' && name.front() != '-';
}

bool is_action(std::string_view action) {
    return std::ranges::count(kActions, action) != 0;
}

std::string script_path(std::string_view name) {
    return std::string(g_init_directory) + '/' + std::string(name);
}

bool is_script(std::string_view name) {
    if (!is_script_name(name)) return false;
    const auto path = script_path(name);
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

void note_success(const Job& job) {
    auto& state = g_states[job.name];
    if (job.action == "enable" || job.action == "disable")
        state.enabled = job.action == "enable";
    else if (job.action != "reload")
        state.running = job.action != "stop";
}

void on_script_ended(uloop_process* process, int status) {
    auto& job = *static_cast<Job*>(process);
    if (status == 0) note_success(job);
    remember_call({.kind = "rc",
                   .name = job.name + ' ' + job.action,
                   .layout = nullptr,
                   .record = {},
                   .returned = {},
                   .result = WIFEXITED(status) ? WEXITSTATUS(status) : -1});
    const int answer = status == 0 ? UBUS_STATUS_OK : UBUS_STATUS_UNKNOWN_ERROR;
    if (job.answerable) ubus_complete_deferred_request(g_bus, &job.caller, answer);
    g_jobs.remove_if([&job](const Job& other) { return &other == &job; });
}

int start_script(ubus_request_data* request, const char* name, const char* action) {
    if (g_jobs.size() == kMaxJobs) return UBUS_STATUS_UNKNOWN_ERROR;
    const auto path = script_path(name);
    const char* const argv[] = {path.c_str(), action, nullptr};
    const auto pid = base::start(argv);
    if (pid < 0) return UBUS_STATUS_SYSTEM_ERROR;
    auto& job = g_jobs.emplace_back();
    job.name = name;
    job.action = action;
    job.pid = pid;
    job.cb = on_script_ended;
    job.answerable = true;
    ubus_defer_request(g_bus, request, &job.caller);
    uloop_process_add(&job);
    return UBUS_STATUS_OK;
}

enum InitArgument { kName, kAction, kInitArguments };
const blobmsg_policy kInitPolicy[kInitArguments] = {{"name", BLOBMSG_TYPE_STRING},
                                                    {"action", BLOBMSG_TYPE_STRING}};

int handle_init(ubus_context*, ubus_object*, ubus_request_data* request, const char*,
                blob_attr* message) {
    blob_attr* arguments[kInitArguments];
    blobmsg_parse(kInitPolicy, kInitArguments, arguments, blob_data(message), blob_len(message));
    if (!arguments[kName] || !arguments[kAction]) return UBUS_STATUS_INVALID_ARGUMENT;
    const char* name = blobmsg_get_string(arguments[kName]);
    const char* action = blobmsg_get_string(arguments[kAction]);
    if (!is_script_name(name) || !is_action(action)) return UBUS_STATUS_INVALID_ARGUMENT;
    if (!is_script(name)) return UBUS_STATUS_NOT_FOUND;
    return start_script(request, name, action);
}

void add_script(blob_buf& reply, const char* name) {
    const auto found = g_states.find(name);
    const RcState state = found == g_states.end() ? RcState{} : found->second;
    void* table = blobmsg_open_table(&reply, name);
    blobmsg_add_u8(&reply, "enabled", state.enabled);
    blobmsg_add_u8(&reply, "running", state.running);
    blobmsg_close_table(&reply, table);
}

int handle_list(ubus_context* bus, ubus_object*, ubus_request_data* request, const char*,
                blob_attr*) {
    DIR* directory = opendir(g_init_directory);
    if (!directory) return UBUS_STATUS_NOT_FOUND;
    blob_buf reply{};
    blob_buf_init(&reply, 0);
    while (const dirent* entry = readdir(directory))
        if (is_script(entry->d_name)) add_script(reply, entry->d_name);
    closedir(directory);
    ubus_send_reply(bus, request, reply.head);
    blob_buf_free(&reply);
    return UBUS_STATUS_OK;
}

const ubus_method kMethods[] = {UBUS_METHOD("init", handle_init, kInitPolicy),
                                UBUS_METHOD_NOARG("list", handle_list)};
ubus_object_type g_type = UBUS_OBJECT_TYPE("rc", kMethods);
ubus_object g_object;

void disconnect() {
    if (!g_bus) return;
    for (auto& job : g_jobs)
        job.answerable = false;
    ubus_free(g_bus);
    g_bus = nullptr;
}

void on_connection_lost(ubus_context* bus) {
    uloop_fd_delete(&bus->sock);
    uloop_timeout_set(&g_reconnect, kReconnectMs);
}

bool offer_object() {
    uint32_t id;
    if (ubus_lookup_id(g_bus, "rc", &id) == UBUS_STATUS_OK) return true;
    g_object = {};
    g_object.name = "rc";
    g_object.type = &g_type;
    g_object.methods = kMethods;
    g_object.n_methods = std::size(kMethods);
    g_type.id = 0;
    return ubus_add_object(g_bus, &g_object) == UBUS_STATUS_OK;
}

void connect_bus(uloop_timeout* timer) {
    disconnect();
    g_bus = ubus_connect(g_bus_socket);
    if (g_bus) {
        g_bus->connection_lost = on_connection_lost;
        ubus_add_uloop(g_bus);
        if (offer_object()) return;
        disconnect();
    }
    uloop_timeout_set(timer, kReconnectMs);
}

void print_states(std::string& out) {
    for (const auto& [name, state] : g_states)
        state_line(out, "%s enabled=%d running=%d", name.c_str(), state.enabled, state.running);
}

ServiceRegistration g_registration({.name = "rc", .print = print_states});

}  // namespace

void rc_start(const char* init_directory, const char* bus_socket) {
    g_init_directory = init_directory;
    g_bus_socket = bus_socket;
    g_reconnect.cb = connect_bus;
    connect_bus(&g_reconnect);
}

void rc_stop() {
    uloop_timeout_cancel(&g_reconnect);
    disconnect();
}

}  // namespace platform::platformd
