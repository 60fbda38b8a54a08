#pragma once

#include <cstdint>

// What the kernel has learnt of LAN hosts by itself.

namespace platform::platformd::enforce {

/// Has br-lan forget behind which port the host is, until its next frame. What others have entered
/// by hand, and the gateway's own addresses, stay.
void forget_host(const uint8_t (&mac)[6]);

}  // namespace platform::platformd::enforce
