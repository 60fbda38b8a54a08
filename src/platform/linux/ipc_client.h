#pragma once

#include <cstdint>
#include <span>

#include "platform/linux/ipc_wire.h"

// The calling side, for who wants to see all that comes back. The limits and the order of calls are
// those of `zu_ipc_call`.

namespace platform {

/// Calls `name` and waits for the answer, whose record may be longer than the one sent and lives
/// until the next call. False when there is no answer that makes sense.
bool ipc_call(const char* name, std::span<const uint8_t> record, IpcReply& reply);

/// Hands a call over that is not answered.
bool ipc_queue(const char* name, std::span<const uint8_t> record);

}  // namespace platform
