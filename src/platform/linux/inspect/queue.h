#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/inspect/flows.h"

// The kernel's queue of packets that wait for a verdict. While nobody reads it, and while it is
// full, packets pass.

namespace platform::inspect {

struct Counters {
    uint64_t judged = 0;
    uint64_t stopped = 0;
};

/// False leaves in `error` why not.
bool queue_open(uint16_t number, std::string& error);
int queue_descriptor();
/// Judges some of the packets that wait. False when the kernel has taken the queue away.
bool queue_take(const Lists& lists, Counters& counters);

}  // namespace platform::inspect
