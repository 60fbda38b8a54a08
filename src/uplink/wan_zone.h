#pragma once

namespace appcfg::uplink {

/// Appends `la` to the networks of the firewall's first wan zone; tells on standard output how that
/// went.
void add_la_to_wan_firewall_zone();

}  // namespace appcfg::uplink
