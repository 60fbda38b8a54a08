#pragma once

// The init scripts' bus object `rc`, for machines that have none: `init` {name, action} runs
// INIT_DIRECTORY/NAME ACTION and ends when the script has ended, `list` tells which scripts there
// are and whether they are enabled and running.

namespace platform::platformd {

/// Offers the object as soon as there is a bus, and again whenever the bus comes back; not where
/// someone else offers one. `bus_socket` may be null for the bus's usual socket. Both texts must
/// live as long as the process.
void rc_start(const char* init_directory, const char* bus_socket);
void rc_stop();

}  // namespace platform::platformd
