#pragma once

#include <vector>

#include "base/mac_address.h"

// What the kernel has learnt of LAN hosts by itself.

namespace platform::platformd::enforce {

/// Has br-lan forget behind which ports the hosts are, until their next frames, and the kernel
/// their connections that pass no hook. What others have entered by hand, and the gateway's own
/// addresses, stay. What cannot be forgotten is told on standard error.
void forget_hosts(const std::vector<base::MacAddress>& hosts);

}  // namespace platform::platformd::enforce
