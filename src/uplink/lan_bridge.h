#pragma once

#include <cstdint>

#include "uci_file.h"
#include "uplink/names.h"

// The LAN bridge in the package network: the device section whose option `ports` lists what is in
// the bridge.

namespace appcfg::uplink {

/// The kernel's name of a LAN port, or its number as text.
using PortName = char[16];

/// "eth3" for port 4.
void name_port(int32_t number, PortName& name);

/// The bridge's section: the one named br_lan, else the first device of the name br-lan, else null.
uci_section* find_lan_bridge(uci_package* network);

/// True for the name of a port that belongs into the bridge when nothing else uses it.
bool is_lan_port(const char* name);

/// Puts the LAN ports among `names` into the bridge, those that are not in it yet, and takes them
/// out. Other names are passed over.
void add_bridge_ports(uci_section* bridge, const Names& names);
void remove_bridge_ports(uci_section* bridge, const Names& names);

/// Takes the bond's device out of the bridge; false if it was not in it.
bool remove_bond_port(uci_section* bridge);

void read_bridge_ports(uci_section* bridge, Names& ports);

}  // namespace appcfg::uplink
