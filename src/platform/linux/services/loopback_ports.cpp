#include "platform/linux/services/loopback_ports.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <net/if.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <map>

#include "base/clock.h"
#include "platform/linux/enforce/bridge_port.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/record_text.h"
#include "platform/linux/services/loopback_closed.h"
#include "platform/linux/services/loopback_detector.h"
#include "platform/linux/services/loopback_probe.h"
#include "platform/linux/services/loopback_socket.h"
#include "platform/linux/services/netif_devices.h"

namespace platform::platformd::loopback {

namespace {

using base::now_ms;

/// A storm brings probes back faster than anybody needs to read them.
constexpr int kFramesPerPass = 32;

/// So many of a port's probes are known when they come back.
constexpr uint32_t kRemembered = 64;

struct SentProbe {
    uint64_t key;
    int64_t time;
};

struct Port {
    std::string device;
    unsigned index = 0;   ///< another one under the same name is another device
    uint32_t number = 0;  ///< of the next probe
    std::array<SentProbe, kRemembered> sent{};
    std::vector<uint16_t> tags;
    uint16_t ethertype = 0;
    base::UniqueFd socket{};
    std::string error;  ///< why there is no socket
};

std::map<uint32_t, Port> g_ports;
Detector g_detector;
Periods g_periods;
uloop_timeout g_timer;

/// What nobody can guess; for as long as a kernel that has just started has nothing of the kind,
/// what differs each time.
uint64_t draw() {
    uint64_t number = 0;
    if (getrandom(&number, sizeof(number), GRND_NONBLOCK) == sizeof(number)) return number;
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) << 32 | static_cast<uint32_t>(now.tv_nsec);
}

bool is_to_close(const std::string& device) {
    return std::ranges::any_of(g_ports, [&device](const auto& entry) {
        return entry.second.device == device && g_detector.to_close(entry.first);
    });
}

// Every time anew, for a port whose link comes anew is open.
void settle_ports() {
    open_ports(is_to_close);
    for (const auto& [number, port] : g_ports)
        if (g_detector.to_close(number)) close_port(port.device);
}

/// Null when it is none of the last ones.
const SentProbe* find_sent(const Probe& probe) {
    const auto sender = g_ports.find(probe.port);
    if (sender == g_ports.end()) return nullptr;
    const auto& port = sender->second;
    const auto& sent = port.sent[probe.number % kRemembered];
    const uint32_t age = port.number - probe.number;
    return age >= 1 && age <= kRemembered && sent.key == probe.key ? &sent : nullptr;
}

void hear(uint32_t at, const Port& port) {
    ProbeFrame buffer;
    Probe probe;
    for (int i = 0; i < kFramesPerPass; ++i) {
        const auto frame = receive_frame(port.socket, buffer);
        if (frame.empty()) return;
        if (!recognise(frame, port.ethertype, gateway_number(), probe)) continue;
        if (const auto* sent = find_sent(probe)) g_detector.came_back(probe.port, at, sent->time);
    }
}

void send_probes(uint32_t at, Port& port, int64_t now) {
    ProbeFrame frame;
    const auto number = port.number++;
    const auto key = draw();
    port.sent[number % kRemembered] = {key, now};
    for (const auto tag : port.tags) {
        const Probe probe{gateway_number(), static_cast<uint16_t>(at), tag, number, key};
        send_frame(port.socket, compose(probe, port.ethertype, frame));
    }
}

void on_timer(uloop_timeout* timer) {
    uloop_timeout_set(timer, static_cast<int>(g_periods.probe));
    const auto now = now_ms();
    for (const auto& [number, port] : g_ports)
        hear(number, port);
    g_detector.look(now, g_periods);
    settle_ports();
    for (auto& [number, port] : g_ports)
        send_probes(number, port, now);
}

void stop_probing(uint32_t number) {
    if (g_ports.erase(number) > 0) g_detector.forget(number);
}

void start_probing(uint32_t number, const std::string& device, unsigned index) {
    g_detector.forget(number);
    if (is_closed(device)) g_detector.assume_closed(number, now_ms());
    auto& port = g_ports[number] = Port{};
    port.device = device;
    port.index = index;
}

void listen(Port& port, uint16_t ethertype) {
    if (port.socket && port.ethertype == ethertype) return;
    port.ethertype = ethertype;
    port.socket = open_probe_socket(port.index, ethertype, gateway_number());
    const std::string error = port.socket ? "" : strerror(errno);
    if (!error.empty() && port.error != error)
        fprintf(stderr, "platformd: %s is not probed: %s\n", port.device.c_str(), error.c_str());
    port.error = error;
}

void follow_port(const st_loopback_detection_attr& attr) {
    const auto device = netif::lan_port(attr.port);
    const auto index = if_nametoindex(device.c_str());
    if (attr.enable == 0 || index == 0) return stop_probing(attr.port);
    const auto found = g_ports.find(attr.port);
    if (found == g_ports.end() || found->second.device != device || found->second.index != index)
        start_probing(attr.port, device, index);
    auto& port = g_ports[attr.port];
    port.tags = tags_of(attr);
    listen(port, ethertype_of(attr));
}

}  // namespace

uint32_t gateway_number() {
    static const auto drawn = static_cast<uint32_t>(draw());
    return drawn;
}

void follow(const Settings& settings) {
    g_periods = periods_of(settings.time);
    for (uint32_t number = 0; number < kLoopbackPorts; ++number) {
        const auto found = settings.ports.find(number);
        if (found == settings.ports.end())
            stop_probing(number);
        else
            follow_port(found->second);
    }
    settle_ports();
    g_timer.cb = on_timer;
    if (g_ports.empty())
        uloop_timeout_cancel(&g_timer);
    else if (!g_timer.pending)
        on_timer(&g_timer);
}

void observe(std::string& out) {
    for (const auto& [number, port] : g_ports) {
        if (!port.socket) state_line(out, "port=%u not probed: %s", number, port.error.c_str());
        if (g_detector.to_close(number) &&
            enforce::bridge_port(port.device) == enforce::BridgePort::Open)
            state_line(out, "port=%u in a loop and open", number);
    }
}

// Also what an earlier platformd has closed, if this one only remembers.
void release() {
    memory_restore(kPortClosed.name);
    follow({});
}

bool in_loop(uint32_t port) {
    return g_detector.in_loop(port);
}

void print_ports(std::string& out) {
    for (const auto& [number, port] : g_ports) {
        if (!port.socket) continue;
        std::string device;
        append_quoted(device, port.device);
        state_line(out, "probed port=%u device=%s loop=%d closed=%d", number, device.c_str(),
                   in_loop(number), is_closed(port.device));
    }
}

}  // namespace platform::platformd::loopback
