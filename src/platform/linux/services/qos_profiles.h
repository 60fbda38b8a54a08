#pragma once

// The profiles of QoS, which hosts share, for the service that initialises all of QoS.

namespace platform::platformd::qos_profiles {

/// Takes every profile back: whoever holds a queue's number from before holds none any more.
void reset();

}  // namespace platform::platformd::qos_profiles
