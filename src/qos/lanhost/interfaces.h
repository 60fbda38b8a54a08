#pragma once

#include <cstdint>

#include "core/outcome.h"

// Which network interface stands for which port of the gateway: the forwarding engine has to know
// before traffic can be classified by port. What there is to declare depends on the board.

/// Declares the interfaces of this board anew, then plays QoS into the platform: on a router board
/// the Ethernet ports, the radios and `wan_root` as the way to the provider, on a PON board the
/// Ethernet ports and "pon", names not looked at, on any other board none. 0, or -1 as soon as an
/// interface cannot be declared; QoS is then not played. -1, with nothing done, if a router board
/// is not told both names, each of 1 to 31 characters.
int32_t app_qos_init_cfe_netintf(const char* wan_root, const char* wan_name);

namespace appcfg::qos {

struct InterfaceNames {
    const char* wan_root;
    const char* wan_name;
};

/// The same as front ends ask for it.
Outcome init_interfaces(InterfaceNames& names);

}  // namespace appcfg::qos
