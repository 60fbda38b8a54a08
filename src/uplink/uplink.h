#pragma once

struct ubus_object;

// Uplink management chooses what carries the gateway's WAN traffic: a fixed LAN port, the port that
// the detection service finds, a bond of two LAN ports, or a primary port with a backup.
//
// It keeps no tables. Its configuration is that of the system itself (packages network, auto_wan
// and firewall), which it edits; sections and options of others come through as they are. What
// takes long, reloading services and bringing interfaces up, is done by a thread of its own after
// the reply has been sent.

namespace appcfg {

/// The bus object `app_uplink`. The gateway is served without it if the bus refuses it.
ubus_object* uplink_bus_object();

}  // namespace appcfg
