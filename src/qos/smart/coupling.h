#pragma once

#include "core/outcome.h"
#include "qos/qos_records.h"

// What front ends ask for where smart QoS and the upstream's bandwidth go together: a rate of the
// profile is 512 of bandwidth. Success, or the operation that failed, by the text that front ends
// know; what was done before it stays.

namespace appcfg::qos {

/// Sets the upstream's profile. With a rate, upstream QoS is then switched on, the highest priority
/// first, with as much bandwidth as fits 32 bits.
Outcome set_upstream_profile(SmartProfile& request);

Outcome set_downstream_profile(SmartProfile& request);

/// Sets basic attributes, and if smart QoS is on, the upstream's profile by their bandwidth.
Outcome set_basic_attributes(Basic& request);

}  // namespace appcfg::qos
