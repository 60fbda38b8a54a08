#pragma once

namespace appcfg::qos {

/// Tells the platform of all stored interface speeds; what it refuses is only logged.
void replay_interface_speeds();

}  // namespace appcfg::qos
