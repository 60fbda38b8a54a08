#pragma once

#include "core/method.h"
#include "uci_file.h"
#include "uplink/lan_bridge.h"

// The service that finds the port of the WAN uplink, and its package auto_wan.

namespace appcfg::uplink {

/// Fixes the WAN uplink to link 1, so that detection does not look for another. `previous_port` is
/// the uplink so far, empty if there was none. False if the package cannot be changed.
[[nodiscard]] bool pin_wan_detection(uci_context* context, PortName& previous_port);

/// Arms detection in its section, as after the removal of a bond.
Outcome rearm_wan_detection(uci_section* auto_wan);

/// A request that has the service stopped and changes whether there is a bond has one of these on
/// the stack from before the first to behind the last: `settle_wan_detection` looks only between
/// two such requests.
class WanDetectionDecision {
  public:
    WanDetectionDecision();
    ~WanDetectionDecision();
    WanDetectionDecision(const WanDetectionDecision&) = delete;
    WanDetectionDecision& operator=(const WanDetectionDecision&) = delete;
};

/// Has the init system's bus object `rc` do something with the service: "enable", "disable",
/// "start" or "stop". Waits at most three seconds for it; says nothing if it fails. Only for the
/// event loop's thread.
void rc_auto_wan_action(const char* action);

/// Has the service enabled and started, or disabled and stopped if there is a bond. If a request
/// decides anew meanwhile, so does this. Takes as long as the service does; not for the event
/// loop's thread.
void settle_wan_detection();

}  // namespace appcfg::uplink
