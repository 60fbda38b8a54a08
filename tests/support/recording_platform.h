#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zu_ipc.h"

// The platform as the module tests see it: it records every call and refuses those it is told to.
// Configuration storage is the real one.

namespace recording_platform {

struct Call {
    std::string name;  ///< of the IPC entry or the library function
    std::vector<uint8_t> record;

    /// The 32-bit word at a byte offset of the record.
    uint32_t word(size_t offset) const;
    /// All of a record of 32-bit words.
    std::vector<uint32_t> words() const;
    /// The NUL-terminated text at a byte offset.
    std::string text(size_t offset) const;
};

/// Forgets all calls and refusals.
void reset();

/// The calls since the last `reset` or `take`, and forgets them.
std::vector<Call> take();

/// Their names only.
std::vector<std::string> take_names();

/// Makes every call of `name` but the first `after` end with `result`.
void refuse(const std::string& name, int32_t result = -1, int after = 0);

/// Asks `hook` what becomes of every call that is not refused, after it has been recorded.
void on_call(std::function<int32_t(const Call&)> hook);

/// Bytes that calls of `name` find in their record when they return.
void answer(const std::string& name, std::vector<uint8_t> record);

/// The entries that the daemon offers, in the order in which they were registered.
const std::vector<const zu_owal_ipc_entry*>& entries();

/// Calls an entry as another process would, -1 if there is none of that name.
int32_t enter(const std::string& name, void* record, uint32_t size);

}  // namespace recording_platform
