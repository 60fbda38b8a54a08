#pragma once

#include <chrono>

using namespace appcfg;

// For tests only: what uplink management takes for granted about the gateway.

struct UplinkSurroundings {
    /// What the apply and removal workers take for a second.
    std::chrono::milliseconds second{1000};
    /// The ports of the bond as the kernel has them, on one line.
    const char* bond_slaves = "/sys/class/net/bond-la/bonding/slaves";
    const char* wan_backup_manager = "/usr/libexec/wan_backup_manager";
};

/// Not to be changed while a worker runs.
extern UplinkSurroundings uplink_surroundings;
