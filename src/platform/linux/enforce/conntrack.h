#pragma once

#include <cstdint>
#include <string>

// What the kernel has learnt of connections. One that it has offloaded to a flow table passes no
// hook and no queue any more, so no rule that is made later would meet it.

namespace platform::platformd::enforce {

/// One end of a connection.
struct End {
    uint8_t address[16];  ///< in network order; IPv4: the first four
    uint16_t port;        ///< 0 where the protocol has none
};

/// As the hooks that forward see it: before sources and behind destinations are translated.
struct Connection {
    int family;  ///< AF_INET or AF_INET6
    uint8_t protocol;
    End from;  ///< who has begun it
    End to;
};

/// `IPS_` bits of a connection that is forwarded past all hooks.
inline constexpr uint32_t kOffloaded = 1U << 14 | 1U << 15;

/// Has the kernel forget the connections with any of the status bits of which `chosen` says so: the
/// next packet of each goes through the hooks, as one of a new connection. False leaves in `error`
/// why some are still there.
bool forget_connections(uint32_t status, bool (*chosen)(const Connection&), std::string& error);

}  // namespace platform::platformd::enforce
