#pragma once

namespace board {

/// True on a gateway that is being tested in the factory, where QoS must not get in the way of
/// measurements. No board of today has such a mode.
constexpr bool is_factory_mode() {
    return false;
}

}  // namespace board
