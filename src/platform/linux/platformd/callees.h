#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/linux/platformd/service.h"

// Everything platformd answers to, gathered from the services once at the start.

namespace platform::platformd {

/// A call name and who answers it; `call` is null for a service's initialisation.
struct Callee {
    const char* name;
    ServiceRegistration* owner;
    const ServiceCall* call;

    const RecordLayout* layout() const { return call ? call->layout : nullptr; }
    /// Does what the call does; the record has the size the layout says.
    int32_t handle(void* record) const;
    /// Whether a platformd that starts anew makes the call again.
    bool is_repeated() const { return owner->service.repeat && (!call || call->changes); }
};

/// Gathers them. False, with a line on standard error, when two services claim one name.
bool gather_callees();

/// All callees in order of their names; null when there is none of that name.
std::span<const Callee> all_callees();
const Callee* find_callee(std::string_view name);

/// Appends, as lines of an audit (audit_line.h), what the daemon's tables have made of the states.
void append_told(std::string& out);

/// Appends the state of one service, or of all of them in order of their names when `service` is
/// empty. False when there is no such service.
bool append_state(std::string& out, std::string_view service);

}  // namespace platform::platformd
