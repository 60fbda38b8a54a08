#pragma once

// Bringing the running network in line with the stored bond, behind the replies. One thread does
// it, one job after the other in the order of the requests; it exists only while there is something
// to do.
//
// At most one job of each kind waits: a second one takes the place of the first, at the end.
// Nothing is lost by that, because a job applies what is stored when it runs, not what was stored
// when it was asked for. What is under way or waits when the process ends is not done.

namespace appcfg::uplink {

/// Has the stored bond applied: its slaves leave the bridge, the bond and the WAN interfaces come
/// up, and the services that depend on them are reloaded.
void start_la_apply_worker();

/// Has the removal of the bond applied: its ports join the bridge and the network services are
/// reloaded. Then the WAN detection service is started, or stopped if there is a bond again.
void start_la_remove_worker();

}  // namespace appcfg::uplink
