#include "platform/linux/services/loopback_closed.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <cstring>
#include <set>
#include <utility>

#include "platform/linux/enforce/bridge_port.h"

namespace platform::platformd::loopback {

namespace {

using enforce::BridgePort;

/// The last frames of a storm are through then.
constexpr int kStormMs = 200;

std::set<std::string> g_closed;
/// Ports whose bridge is to forget once more what it has learnt.
std::set<std::string> g_stirred;
uloop_timeout g_again;

ClosedPort record_of(const std::string& device, bool closed) {
    ClosedPort record{};
    strncpy(record.device, device.c_str(), sizeof(record.device) - 1);
    record.closed = closed;
    return record;
}

void remember(const std::string& device, bool closed) {
    auto record = record_of(device, closed);
    set_closed(record);
    memory_append(kPortClosed.name, {reinterpret_cast<const uint8_t*>(&record), sizeof(record)});
}

void forget_once_more(uloop_timeout*) {
    for (const auto& device : std::exchange(g_stirred, {}))
        enforce::bridge_port_forget(device);
}

/// A bridge that has seen frames circle takes hosts to be where they are not, and the last such
/// frames are still to come.
void forget_where_hosts_are(const std::string& device) {
    enforce::bridge_port_forget(device);
    g_stirred.insert(device);
    g_again.cb = forget_once_more;
    uloop_timeout_set(&g_again, kStormMs);
}

/// What stays refused is said once.
bool change(const std::string& device, bool open) {
    static std::string said;
    std::string error;
    if (enforce::bridge_port_set(device, open, error)) {
        forget_where_hosts_are(device);
        return true;
    }
    error = "platformd: " + device + (open ? " stays closed: " : " stays in a loop: ") + error;
    if (error != said) fprintf(stderr, "%s\n", error.c_str());
    said = error;
    return false;
}

}  // namespace

int32_t set_closed(ClosedPort& port) {
    const auto length = strnlen(port.device, sizeof(port.device));
    if (length == 0 || length == sizeof(port.device) || port.closed > 1) return -1;
    if (port.closed == 1)
        g_closed.insert(port.device);
    else
        g_closed.erase(port.device);
    return 0;
}

void repeat_closed(CallList& calls) {
    for (const auto& device : g_closed)
        calls.add(kPortClosed, record_of(device, true));
}

bool is_closed(const std::string& device) {
    return g_closed.contains(device);
}

// It is remembered first: whoever is killed in between finds in it an open port that he may open.
void close_port(const std::string& device) {
    if (enforce::bridge_port(device) != BridgePort::Open) return;
    if (!is_closed(device)) remember(device, true);
    change(device, false);
}

// One whose state is no longer ours to change is not ours any more.
void open_ports(bool (*stays_closed)(const std::string& device)) {
    for (auto at = g_closed.begin(); at != g_closed.end();) {
        const auto device = *at++;
        if (stays_closed(device)) continue;
        const bool ours = enforce::bridge_port(device) == BridgePort::Closed;
        if (!ours || change(device, true)) remember(device, false);
    }
}

}  // namespace platform::platformd::loopback
