#pragma once

#include "core/method.h"

namespace appcfg::uplink {

/// The configuration of the WAN backup, as texts; null where it was not given.
struct WanBackup {
    const char* enable;        ///< "0" or "1"
    const char* fixed_port;    ///< this and the others: a LAN port, "1" to "4"
    const char* primary_port;  ///< differs from `backup_port` when enabled
    const char* backup_port;
    const char* active_port;  ///< one of the two when enabled
};

/// Checks the configuration and hands it to the gateway's backup manager, which stores and applies
/// it. Waits for that program. Answers with code -3 for arguments that make no sense and -1 when
/// the gateway cannot back up its WAN or the program fails.
Outcome wan_backup_set(WanBackup& backup);

}  // namespace appcfg::uplink
