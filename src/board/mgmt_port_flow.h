#pragma once

#include <cstdint>

/// Limits the flows of the gateway's own management ports, so that a flood on one of them cannot
/// starve the forwarding of traffic, and on boards with the forwarding engine also the rate of
/// packets to the CPU. Always 0.
int32_t mgmt_port_flow_init();
