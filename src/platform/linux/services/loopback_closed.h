#pragma once

#include <net/if.h>

#include <string>

#include "platform/linux/platformd/service.h"

// The bridge ports that are closed because of a loop. Which ones these are outlives platformd: a
// port that somebody else has closed is not ours to open.

namespace platform::platformd::loopback {

struct ClosedPort {
    char device[IFNAMSIZ];
    uint32_t closed;  ///< 0: open again
};

inline constexpr RecordField kClosedPortFields[] = {
    RECORD_FIELD(ClosedPort, device, 0),
    RECORD_FIELD(ClosedPort, closed, 16),
};
inline constexpr auto kClosedPortLayout = RECORD_LAYOUT(ClosedPort, 20, kClosedPortFields);

/// What we remember by: says that a port is one of these, and changes nothing at the port.
inline constexpr Call kPortClosed{"platformd_loopback_port_closed", kClosedPortLayout};

int32_t set_closed(ClosedPort& port);
void repeat_closed(CallList& calls);

bool is_closed(const std::string& device);
/// Closes the port, also where its link has come anew and opened it. One whose state is not ours to
/// change stays as it is.
void close_port(const std::string& device);
/// Opens all but those that are to stay closed.
void open_ports(bool (*stays_closed)(const std::string& device));

}  // namespace platform::platformd::loopback
