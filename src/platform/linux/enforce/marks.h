#pragma once

// What the services that act on the kernel share of its names and numbers. Each stands here once,
// so that the order of the hooks can be read off, and nothing is taken twice.

namespace platform::platformd::enforce {

/// Our table, in each family that we use. Beside it any other firewall can live: that we accept a
/// packet never takes it past the others, and what we drop stays dropped.
inline constexpr char kTable[] = "appcfg";

inline constexpr char kLanBridge[] = "br-lan";

/// Where chains hook in, within their hook by priority. The kernel's and other firewalls' places:
/// raw -300, connection tracking -200, mangle -150, filter 0; in bridges ebtables' nat -300.
inline constexpr int kMacFilterPriority = -310;      ///< bridge prerouting, before ebtables' nat
inline constexpr int kCpuInPriority = -310;          ///< input, before a flood costs anything
inline constexpr int kManagementOutPriority = -145;  ///< output, behind mangle's own marks
inline constexpr int kIpFilterPriority = -5;         ///< forward, before "established" lets it pass

}  // namespace platform::platformd::enforce
