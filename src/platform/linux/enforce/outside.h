#pragma once

#include <string>

// What a service asks for that neither rules nor queues can do: processes beside platformd, sockets
// on ports, entries that the kernel has learnt.

namespace platform::platformd::enforce {

/// How a line begins that tells what may make enforcement worthless, and is no fault of ours.
inline constexpr char kWarning[] = "warning: ";

struct Outside {
    /// Makes it what the state asks for, where it is not yet. Called on the event loop behind every
    /// change of any service's rules, when network devices come and go, and once at the start; what
    /// an earlier platformd has left is to be found again, not made anew.
    void (*follow)();
    /// Appends a line for each thing that is not as the state asks (`state_line`), a process that
    /// does not run, a port in the wrong state; an audit fails for it, unless the line begins with
    /// `kWarning` or says `kNotEnforced` (service.h). What is as it should be or on its way there
    /// must not appear. Must not block. Null: nothing can be seen.
    void (*observe)(std::string& out) = nullptr;
    /// Takes it all back; what stays in force when platformd ends is not for this.
    void (*release)() = nullptr;
};

}  // namespace platform::platformd::enforce
