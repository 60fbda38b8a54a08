#pragma once

#include <chrono>

// For tests only: what uplink management takes for granted about the gateway. Commands and calls of
// other bus objects have no seam here: tests stand in for zu_os.h and the bus library.

namespace appcfg::uplink {

struct Surroundings {
    /// What the thread that applies changes takes for a second.
    std::chrono::milliseconds second{1000};
    /// The ports of the bond as the kernel has them, on one line.
    const char* bond_slaves = "/sys/class/net/bond-la/bonding/slaves";
    const char* wan_backup_manager = "/usr/libexec/wan_backup_manager";
};

/// Not to be changed while changes are being applied.
inline Surroundings surroundings;

}  // namespace appcfg::uplink
