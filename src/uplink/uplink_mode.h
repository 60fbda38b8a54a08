#pragma once

#include "core/method.h"

namespace appcfg::uplink {

/// Switches the mode of the uplink. `mode` is "1": LAN port `port` ("1" to "4") is the uplink, or
/// "2": the WAN detection service chooses, and `port` does not matter. Either may be null. A bond
/// is removed first, and stays removed if something fails later. Answers with code -3 for arguments
/// that make no sense and -1 for everything else.
Outcome uplink_mode_set(const char* mode, const char* port);

}  // namespace appcfg::uplink
