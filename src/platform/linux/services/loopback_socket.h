#pragma once

#include <cstdint>
#include <span>

#include "base/unique_fd.h"
#include "platform/linux/services/loopback_probe.h"

// Sockets beside all that judges and forwards frames: they work at a bridge port that is closed.

namespace platform::platformd::loopback {

/// On the device with this index: it hears what comes in with the mark and the number of the
/// gateway and without double tags, nothing else. None, with errno, when it cannot be, without
/// CAP_NET_RAW for one.
base::UniqueFd open_probe_socket(unsigned device, uint16_t ethertype, uint32_t gateway);

/// The next frame that has come in, cut at the buffer's end; empty when there is none. Neither
/// waits.
std::span<const uint8_t> receive_frame(const base::UniqueFd& socket, ProbeFrame& buffer);
/// A frame that cannot be sent is lost.
void send_frame(const base::UniqueFd& socket, std::span<const uint8_t> frame);

}  // namespace platform::platformd::loopback
