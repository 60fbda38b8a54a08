#pragma once

#include <array>

#include "platform/linux/inspect/names.h"

namespace platform::inspect {

/// Which connection: version, addresses and ports.
using FlowKey = std::array<uint8_t, 1 + 16 + 16 + 2 + 2>;

struct Segment {
    FlowKey key;
    uint16_t port;      ///< where it goes to
    uint32_t sequence;  ///< number of the first byte
    Bytes payload;
};

/// Reads a packet of TCP in IPv4 or IPv6, of which the end may have been cut off. False if it is
/// none, or not the first part of one.
bool read_segment(Bytes packet, Segment& segment);

}  // namespace platform::inspect
