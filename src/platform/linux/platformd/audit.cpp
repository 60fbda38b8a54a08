#include "platform/linux/platformd/audit.h"

#include <net/if.h>

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

/// What a service says of itself: things that no kernel can be made to do, and, where it acts on
/// more than rules, what is not as it should be.
void append_sayings(std::string& out, const Service& service) {
    std::string said;
    if (service.print) service.print(said);
    for_each_line(said, [&](std::string_view line) {
        if (line.starts_with(kNotEnforced))
            append_audit_line(out, kAuditCannot, service.name, line);
    });
    if (!enforce::is_on() || !service.outside || !service.outside->observe) return;
    said.clear();
    service.outside->observe(said);
    for_each_line(said, [&](std::string_view line) {
        append_audit_line(out, kAuditWrong, service.name, line);
    });
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
        if (!owner->service.calls.empty()) append_sayings(out, owner->service);
    }
    if (enforce::is_on()) enforce::audit_kernel(out);
    append_warnings(out);
}

}  // namespace platform::platformd
