#pragma once

// The shell lines of uplink management. Names in them come from requests and from packages that
// others may write: only what is a valid interface name gets into a line, the rest is passed over.
// Nobody looks at how a line ends.

/// True for 1 to 15 of the characters A-Z a-z 0-9 . _ -
bool is_interface_name(const char* name);

/// Takes the LAN ports among `names` out of the LAN bridge, and sets them up without a master.
void release_from_bridge(const char* names);

/// Puts the LAN ports among `names` into the LAN bridge, those that are not in it.
void join_bridge(const char* names);

/// Takes the bond itself out of the LAN bridge.
void release_bond_from_bridge();

/// Has the network services bring an interface up.
void bring_up(const char* interface);

void reload_network();
void reload_auto_wan();

/// Reloads, in this order, the services that follow the network: firewall, miniupnpd, omcproxy.
void reload_network_users();
