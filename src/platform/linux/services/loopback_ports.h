#pragma once

#include <string>

#include "platform/linux/services/loopback_rules.h"

// The ports of this machine that are probed, each by a socket on its device.

namespace platform::platformd::loopback {

/// The number by which our probes are told from those of other gateways; drawn once.
uint32_t gateway_number();

/// Probes the ports that the settings say and that have a device, and no others.
void follow(const Settings& settings);
void observe(std::string& out);
/// Ends, and opens what was closed.
void release();

bool in_loop(uint32_t port);
/// Appends a line for each port that is probed.
void print_ports(std::string& out);

}  // namespace platform::platformd::loopback
