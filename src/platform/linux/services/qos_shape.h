#pragma once

#include <cstdint>

#include "platform/linux/enforce/trees.h"
#include "platform/linux/services/qos_devices.h"
#include "platform/linux/services/qos_state.h"

// The queues of both directions in the kernel: below one class with the direction's bandwidth a
// leaf for each enabled queue.

namespace platform::platformd::qos {

/// Where packets go that nothing else is said of, or whose queue is disabled.
inline constexpr uint16_t kRest = 8;

/// The minor number of the leaf that a flow or an item asks for. Where queues have priorities it
/// asks by the priority, otherwise by the number: so leaves are numbered.
uint16_t leaf_of(const Direction& direction, uint32_t asked);
/// The same for a queue by its number.
uint16_t leaf_of_queue(const Direction& direction, uint32_t number);

void shape(const Qos& qos, const Devices& devices, enforce::Trees& trees);

}  // namespace platform::platformd::qos
