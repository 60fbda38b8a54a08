#pragma once

#include "core/method.h"

namespace appcfg::uplink {

struct ModeRequest {
    const char* mode;  ///< "1": LAN port `port` is the uplink; "2": the detection service chooses
    const char* port;  ///< "1" to "4"; does not matter with mode "2"
};

/// Switches the mode of the uplink; texts that were not given are null. A bond is removed first,
/// and stays removed if something fails later. Answers with code -3 for arguments that make no
/// sense and -1 for everything else.
Outcome uplink_mode_set(ModeRequest& request);

}  // namespace appcfg::uplink
