#pragma once

#include <cstdint>

/// Apply the stored row, and all stored queues, at a start. Results as of the sets; the queues' is
/// always 0.
int32_t igd_cm_downlink_qos_basic_init();
int32_t igd_cm_downlink_qos_queue_init();
