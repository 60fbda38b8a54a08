#pragma once

#include <cstdint>

// What configuration operations return, and front ends see as `result`. 0 is success.
//
// There is one way to say how something ended: operations return these codes, methods with several
// texts of failure an Outcome (core/outcome.h), everything else inside the daemon a bool that is
// true when it was done.

/// A table, platform or file operation failed, a row was not found, or a duplicate was refused.
inline constexpr int32_t IGD_CM_OPERATE_FAIL = -1;

/// The table already holds its maximum number of rows.
inline constexpr int32_t IGD_CM_OPERATE_FULL = -2;

/// An input value is out of range.
inline constexpr int32_t IGD_CM_GLOBAL_INPUT_PARA_ERROR = 0x10000001;

namespace appcfg {

/// An argument of the request is missing. Only in replies, never from an operation.
inline constexpr int32_t kMissingArgument = -3;

/// Every configuration operation takes a record and its size. True if they belong together.
template <class Record>
[[nodiscard]] constexpr bool is_record(const Record* record, uint32_t size) {
    return record != nullptr && size == sizeof(Record);
}

}  // namespace appcfg
