#pragma once

#include <vector>

#include "platform/include/records/qos.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"
#include "platform/linux/enforce/trees.h"

// What the profiles of hosts mean in the kernel. Rules of the host's own, in ebtables' table nat,
// put a profile's id into bits of the frame's mark; here these bits become a class of the tree that
// the frame will pass.

namespace platform::platformd::qos_profiles {

using Profiles = std::vector<st_qos_profile>;  // in order of their ids

inline constexpr enforce::OwnedChain kHostUp{enforce::Family::Bridge, "host_up", "input",
                                             enforce::kHostUpPriority};
inline constexpr enforce::OwnedChain kHostOut{enforce::Family::Bridge, "host_out", "output",
                                              enforce::kFromGatewayPriority};
inline constexpr enforce::OwnedChain kHostDown{enforce::Family::Bridge, "host_dn", "postrouting",
                                               enforce::kHostDownPriority};

void render(const Profiles& profiles, enforce::RuleText& text);

/// Class N in both trees for hosts is the profile N.
void shape(const Profiles& profiles, enforce::Trees& trees);

}  // namespace platform::platformd::qos_profiles
