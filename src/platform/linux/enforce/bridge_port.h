#pragma once

#include <cstdint>
#include <string>

// Ports of bridges: whether frames pass between them and their bridge.

namespace platform::platformd::enforce {

enum class BridgePort : uint8_t {
    Foreign,  ///< none, or nothing of ours: its link is down, or its bridge runs a spanning tree
    Closed,
    Open,
};

BridgePort bridge_port(const std::string& device);
/// The index of its bridge; 0: none.
unsigned bridge_of(const std::string& device);

/// Closes or opens it, for all frames of others; sockets on the device itself go on. False leaves
/// in `error` why not.
bool bridge_port_set(const std::string& device, bool open, std::string& error);
/// Has its bridge forget what it has learnt, as hosts may be behind other ports now; if that can
/// be.
void bridge_port_forget(const std::string& device);

}  // namespace platform::platformd::enforce
