#include "platform/linux/platformd/audit.h"

#include <net/if.h>

#include <cstring>
#include <fstream>

#include "platform/linux/audit_line.h"
#include "platform/linux/enforce/applier.h"
#include "platform/linux/enforce/audit.h"
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

/// A line of a service's own: of its state only what can never be counts.
void append_saying(std::string& out, const char* service, std::string_view line, bool is_state) {
    if (is_unenforceable(line))
        append_audit_line(out, kAuditCannot, service, line);
    else if (is_state)
        return;
    else if (line.starts_with(enforce::kWarning))
        append_audit_line(out, kAuditWarning, service, line.substr(strlen(enforce::kWarning)));
    else
        append_audit_line(out, kAuditWrong, service, line);
}

void append_sayings(std::string& out, const Service& service) {
    std::string state, seen;
    if (service.print && !service.calls.empty()) service.print(state);
    if (enforce::is_on() && service.outside && service.outside->observe)
        service.outside->observe(seen);
    for_each_line(state,
                  [&](std::string_view line) { append_saying(out, service.name, line, true); });
    for_each_line(seen,
                  [&](std::string_view line) { append_saying(out, service.name, line, false); });
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
        append_sayings(out, owner->service);
    }
    if (enforce::is_on()) enforce::audit_kernel(out);
    append_warnings(out);
}

}  // namespace platform::platformd
