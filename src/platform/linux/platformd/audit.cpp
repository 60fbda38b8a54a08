#include "platform/linux/platformd/audit.h"

#include <net/if.h>

#include <cstring>
#include <fstream>

#include "platform/linux/audit_line.h"
#include "platform/linux/enforce/applier.h"
#include "platform/linux/enforce/audit.h"
#include "platform/linux/enforce/shape.h"
#include "platform/linux/enforce/tc.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/services/netif_devices.h"

namespace platform::platformd {

namespace {

constexpr char kEnforcement[] = "enforcement";

bool is_set(const char* path) {
    std::ifstream file(path);
    int value = 0;
    return file >> value && value != 0;
}

bool has_wan_device() {
    for (const auto& name : netif::wan_devices())
        if (if_nametoindex(name.c_str()) != 0) return true;
    return false;
}

void append_warnings(std::string& out) {
    const auto warn = [&out](const char* text) {
        append_audit_line(out, kAuditWarning, kEnforcement, text);
    };
    if (!enforce::is_on()) warn("platformd only remembers, nothing is enforced");
    if (!has_wan_device()) warn("there is no WAN device");
    if (is_set("/proc/sys/net/bridge/bridge-nf-call-iptables"))
        warn("bridge-nf-call-iptables is on: other firewalls judge what goes from LAN to LAN");
}

void append_cannot(std::string& out, const char* service, std::string_view line) {
    if (line.starts_with(kNotEnforced)) line.remove_prefix(strlen(kNotEnforced));
    append_audit_line(out, kAuditCannot, service, line);
}

/// Of a state only what can never be counts.
void append_unenforceable(std::string& out, const Service& service) {
    std::string state;
    if (service.print && !service.calls.empty()) service.print(state);
    for_each_line(state, [&](std::string_view line) {
        if (is_unenforceable(line)) append_cannot(out, service.name, line);
    });
}

/// What has been seen to be other than asked for, as `Outside::observe` tells it.
void append_seen(std::string& out, const char* service, const std::string& seen) {
    for_each_line(seen, [&](std::string_view line) {
        if (line.starts_with(enforce::kWarning))
            append_audit_line(out, kAuditWarning, service, line.substr(strlen(enforce::kWarning)));
        else if (is_unenforceable(line))
            append_cannot(out, service, line);
        else
            append_audit_line(out, kAuditWrong, service, line);
    });
}

void append_outside(std::string& out, const Service& service) {
    std::string seen;
    if (service.outside && service.outside->observe) service.outside->observe(seen);
    append_seen(out, service.name, seen);
}

void append_queues(std::string& out) {
    std::string seen;
    enforce::tc_audit(enforce::wanted_trees(), seen);
    append_seen(out, kEnforcement, seen);
}

/// Where the kernel and what stands around it is not what the states ask for.
void append_kernel(std::string& out) {
    enforce::audit_kernel(out);
    append_queues(out);
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        append_outside(out, owner->service);
}

}  // namespace

void append_audit(std::string& out) {
    enforce::settle();
    if (enforce::is_on() && enforce::is_waiting())
        return append_audit_line(out, kAuditWaiting, kEnforcement,
                                 "changes wait for a pause in the calls");
    append_told(out);
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next) {
        if (owner->initialised) append_audit_line(out, kAuditPlayed, owner->service.name, "");
        append_unenforceable(out, owner->service);
    }
    if (enforce::is_on()) append_kernel(out);
    append_warnings(out);
}

}  // namespace platform::platformd
