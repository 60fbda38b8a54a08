#pragma once

#include <string_view>

#include "platform/linux/control.h"

// Faults that are armed on purpose, to see what callers make of them.

namespace platform::platformd {

struct Fault {
    FaultKind kind;
    uint32_t count;  ///< calls it is still good for
    int32_t result;
    uint32_t seconds;
};

/// Arms a fault, in place of an earlier one of that name; with count 0 there is none any more.
void arm_fault(std::string_view name, const Fault& fault);
void disarm_all_faults();

/// True when a fault is armed for this call of `name`, which uses up one of its counts.
bool take_fault(std::string_view name, Fault& fault);

}  // namespace platform::platformd
