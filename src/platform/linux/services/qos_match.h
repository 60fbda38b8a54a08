#pragma once

#include <string>
#include <vector>

#include "platform/include/records/qos.h"
#include "platform/linux/services/qos_devices.h"

// What packets look like that QoS sorts out.

namespace platform::platformd::qos {

enum class IpVersion : uint8_t { Any, V4, V6 };

/// One way for a packet to be meant.
struct Match {
    std::string text;  ///< pieces of a rule, with a blank behind them
    IpVersion version = IpVersion::Any;
    /// Can be told only while the packet is a frame in the LAN's bridge.
    bool in_frame = false;
};

/// The ways of which one has to be met; none: it cannot be told what is meant.
using Matches = std::vector<Match>;

Matches matches_of(const zu_sal_qos_flow_queue_s& flow, const Devices& devices);
Matches matches_of(const zu_qos_item_attr_s& item);

/// Protocols as bits of `ui_proto_list`; 0: all of them.
inline constexpr uint32_t kTcp = 1;
inline constexpr uint32_t kUdp = 2;
inline constexpr uint32_t kIcmp = 4;

/// Packets of these protocols to these ports; only TCP and UDP have any.
std::string to_ports(uint32_t protocols, const std::string& ports);

/// Packets with these DSCPs, in nftables' language.
Matches with_dscp(const std::string& values);

/// How a packet is recognised as one of that IP version.
const char* version_match(IpVersion version);

}  // namespace platform::platformd::qos
