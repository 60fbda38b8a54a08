#pragma once

#include <string_view>

#include "platform/linux/services/qos_match.h"
#include "platform/linux/services/qos_state.h"

// Traffic that is known by a name.

namespace platform::platformd::qos {

/// An application by the ports of its servers; the case of letters does not matter. Empty for a
/// name that is not known.
Matches matches_of_app(std::string_view name);

/// Of a kind of traffic (`em_mode`); a number for one that is none.
std::string traffic_name(uint32_t mode);

/// A kind of traffic. Empty for one that cannot be recognised, also when it has not been said how.
Matches matches_of_traffic(uint32_t mode, const Qos& qos);

}  // namespace platform::platformd::qos
