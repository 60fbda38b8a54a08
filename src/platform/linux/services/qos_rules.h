#pragma once

#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"
#include "platform/linux/services/qos_devices.h"
#include "platform/linux/services/qos_state.h"

// What QoS's state means in the kernel: into which queue a packet goes, and how it is marked.

namespace platform::platformd::qos {

/// What only a frame shows is noted in its packet's mark, for the next one.
inline constexpr enforce::OwnedChain kFrames{enforce::Family::Bridge, "qos_l2", "input",
                                             enforce::kQueueFramesPriority};
inline constexpr enforce::OwnedChain kQueuedUp{enforce::Family::Inet, "qos_up", "postrouting",
                                               enforce::kQueuePriority};
inline constexpr enforce::OwnedChain kQueuedDown{enforce::Family::Inet, "qos_dn", "postrouting",
                                                 enforce::kQueuePriority};

/// What cannot be, a line each, goes to `left_out`.
void render(const Qos& qos, const Devices& devices, enforce::RuleText& text, LeftOut& left_out);

}  // namespace platform::platformd::qos
