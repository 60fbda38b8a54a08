#pragma once

#include <string_view>

#include "uplink/names.h"

// The shell lines of uplink management. Names in them come from requests and from packages that
// others may write: only what is a valid name gets into a line, the rest is passed over. Nobody
// looks at how a line ends.

namespace appcfg::uplink {

/// True for the name of a package's section, 1 to 110 of the characters A-Z a-z 0-9 _
bool is_section_name(std::string_view name);

/// Takes the LAN ports among `names` out of the LAN bridge, and sets them up without a master.
void release_from_bridge(const Names& names);

/// Puts the LAN ports among `names` into the LAN bridge, those that are not in it.
void join_bridge(const Names& names);

/// Takes the bond itself out of the LAN bridge.
void release_bond_from_bridge();

/// Has the network services bring an interface up, which they know by the name of its section.
void bring_up(const char* section);

void reload_network();
void reload_auto_wan();

/// Reloads, in this order, the services that follow the network: firewall, miniupnpd, omcproxy.
void reload_network_users();

/// What rc_auto_wan_action does, by a program that waits in place of the bus library.
void call_rc_for_auto_wan(const char* action);

}  // namespace appcfg::uplink
