#pragma once

#include <span>

#include "platform/linux/ipc_server.h"

// What platformd does with a call that has come in.

namespace platform::platformd {

/// Answers it: control calls by themselves; all others are checked, perhaps spoilt by an armed
/// fault, handled by their service, and remembered.
IpcAnswer answer_call(const IpcCall& call);

/// Names of the control calls.
std::span<const char* const> control_names();
/// Answers a control call; false when it is none.
bool answer_control(const IpcCall& call, IpcAnswer& answer);

}  // namespace platform::platformd
