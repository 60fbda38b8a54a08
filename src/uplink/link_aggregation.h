#pragma once

#include "core/method.h"
#include "uplink/la_request.h"

// Link aggregation bonds two LAN ports. As long as there is a bond the WAN detection service is
// switched off.
//
// The operations answer with code -3 for arguments that make no sense and -1 for everything else.
// Nothing is rolled back: what was committed before a failure stays. What takes long is done behind
// the reply (uplink/la_workers.h).

namespace appcfg::uplink {

/// Stores the bond, switches WAN detection off and has the change applied. Before any of that,
/// texts longer than options of the bond may be are refused as options that cannot be set. The
/// slaves leave the LAN bridge; those of the bond before, or the port that was the WAN uplink,
/// return to it.
Outcome link_aggregation_set(LaRequest& request);

/// Removes the bond, arms WAN detection and has the change applied. Without a bond nothing happens,
/// except that the detection service has been stopped.
Outcome link_aggregation_del();

/// Removes the bond from the stored configuration only.
Outcome link_aggregation_del_no_commit();

}  // namespace appcfg::uplink
