#pragma once

#include "qos/qos.h"

// Smart QoS: one rate for each direction. Setting one is declared in qos/qos.h.

/// Plays the stored rates that are not 0 into the platform, the upstream's first; stops where there
/// is no row.
void igd_cm_smart_qos_profile_init();
