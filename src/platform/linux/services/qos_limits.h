#pragma once

#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"
#include "platform/linux/enforce/trees.h"
#include "platform/linux/services/qos_devices.h"
#include "platform/linux/services/qos_state.h"

// Limits of ports, VLANs and ranges of addresses: each has a class of its own, into which packets
// are put in the bridge. Those that go from LAN to LAN are not limited.

namespace platform::platformd::qos {

inline constexpr enforce::OwnedChain kLimitedUp{enforce::Family::Bridge, "flow_up", "input",
                                                enforce::kFlowUpPriority};
inline constexpr enforce::OwnedChain kFromGateway{enforce::Family::Bridge, "flow_out", "output",
                                                  enforce::kFromGatewayPriority};
inline constexpr enforce::OwnedChain kLimitedDown{enforce::Family::Bridge, "flow_dn", "postrouting",
                                                  enforce::kFlowDownPriority};

/// What cannot be, a line each, goes to `left_out`.
void render_limits(const zu_sal_qos_dslimited_s& limits, const Devices& devices,
                   enforce::RuleText& text, LeftOut& left_out);
void shape_limits(const zu_sal_qos_dslimited_s& limits, const Devices& devices,
                  enforce::Trees& trees);

}  // namespace platform::platformd::qos
