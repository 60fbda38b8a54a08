#include "platform/linux/platformd/callees.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "platform/linux/audit_line.h"

namespace platform::platformd {

namespace {

std::vector<Callee> g_callees;
std::vector<ServiceRegistration*> g_services;

std::string_view name_of(const Callee& callee) {
    return callee.name;
}
std::string_view service_name(const ServiceRegistration* owner) {
    return owner->service.name;
}

void append_service(std::string& out, const ServiceRegistration& owner) {
    out += owner.service.name;
    out += '\n';
    if (owner.service.init) state_line(out, "initialised=%d", owner.initialised);
    if (owner.service.print) owner.service.print(out);
}

}  // namespace

int32_t Callee::handle(void* record) const {
    if (call) return call->handle(record, call->layout->size);
    if (owner->service.reset) owner->service.reset();
    owner->initialised = true;
    return 0;
}

bool gather_callees() {
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next) {
        g_services.push_back(owner);
        if (owner->service.init) g_callees.push_back({owner->service.init, owner, nullptr});
        for (const auto& call : owner->service.calls)
            g_callees.push_back({call.name, owner, &call});
    }
    std::ranges::sort(g_services, {}, service_name);
    std::ranges::sort(g_callees, {}, name_of);
    const auto twice = std::ranges::adjacent_find(g_callees, {}, name_of);
    if (twice == g_callees.end()) return true;
    fprintf(stderr, "platformd: two services claim %s\n", twice->name);
    return false;
}

std::span<const Callee> all_callees() {
    return g_callees;
}

const Callee* find_callee(std::string_view name) {
    const auto found = std::ranges::lower_bound(g_callees, name, {}, name_of);
    return found != g_callees.end() && name == found->name ? &*found : nullptr;
}

void append_told(std::string& out) {
    for (const auto* owner : g_services) {
        if (!owner->service.told) continue;
        std::string state;
        owner->service.told(state);
        for_each_line(state, [&](std::string_view line) {
            if (!is_unenforceable(line))
                append_audit_line(out, kAuditTold, owner->service.name, line);
        });
    }
}

bool append_state(std::string& out, std::string_view service) {
    bool found = service.empty();
    for (const auto* owner : g_services) {
        if (!service.empty() && service != owner->service.name) continue;
        append_service(out, *owner);
        found = true;
    }
    return found;
}

}  // namespace platform::platformd
