#pragma once

#include <array>
#include <cstdint>
#include <span>

// The frames by which ports are probed: broadcasts that say whose they are. A frame from the wire
// may hold anything: each probe has a key that nobody can guess, so that only who has heard it can
// repeat it, and it is void a few probes later.

namespace platform::platformd::loopback {

/// Behind the frame's header stand this and the gateway's number, by which the kernel tells our
/// probes from all other frames.
inline constexpr uint32_t kProbeMark = 0x6c6f6f70;

/// The outer tag of frames with two.
inline constexpr uint16_t kServiceTag = 0x88a8;

struct Probe {
    uint32_t gateway;  ///< drawn when platformd starts
    uint16_t port;
    uint16_t tag;     ///< VLAN it was sent in, 0: none
    uint32_t number;  ///< of this port's probes
    uint64_t key;     ///< drawn for it

    bool operator==(const Probe&) const = default;
};

using ProbeFrame = std::array<uint8_t, 64>;

/// Writes the frame and returns how much of it that is: a tag makes it longer.
std::span<const uint8_t> compose(const Probe& probe, uint16_t ethertype, ProbeFrame& frame);

/// False when it is no probe of the gateway. The frame is as the kernel hands it over, without its
/// tag.
bool recognise(std::span<const uint8_t> frame, uint16_t ethertype, uint32_t gateway, Probe& probe);

}  // namespace platform::platformd::loopback
