#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/include/zu_record.h"

// The calls platformd remembers, the oldest of which are forgotten when there are too many.

namespace platform::platformd {

struct PastCall {
    const char* kind;  ///< "sync", "async", "rc"
    std::string name;
    const RecordLayout* layout;  ///< null: the record, if any, is shown in hexadecimal
    std::vector<uint8_t> record;
    std::vector<uint8_t> returned;  ///< empty when the service left the record as it was
    int32_t result;
};

void remember_call(PastCall call);
void forget_calls();

/// Appends calls, one line each, beginning with number `from` (or the oldest one that is still
/// remembered, if that one is forgotten or another platformd's) and ending before `out` exceeds
/// `limit` characters; a line that is longer by itself is cut. Returns the number of the call to go
/// on with.
uint64_t append_history(std::string& out, uint64_t from, size_t limit);

/// Number that the next call will have.
uint64_t next_call_number();

}  // namespace platform::platformd
