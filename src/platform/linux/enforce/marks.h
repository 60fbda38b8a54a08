#pragma once

#include <cstdint>

#include "platform/linux/queue_mark.h"

// What the services that act on the kernel share of its names and numbers. Each stands here once,
// so that the order of the hooks can be read off, and nothing is taken twice.

namespace platform::platformd::enforce {

/// Our table, in each family that we use. Beside it any other firewall can live: that we accept a
/// packet never takes it past the others, and what we drop stays dropped.
inline constexpr char kTable[] = "appcfg";

/// A table that filters nothing, for a moment, to see how the kernel tells of rules.
inline constexpr char kScratchTable[] = "appcfg_audit";

inline constexpr char kLanBridge[] = "br-lan";

/// Where chains hook in, within their hook by priority. The kernel's and other firewalls' places:
/// raw -300, connection tracking -200, mangle -150, destination NAT -100, filter 0; in bridges
/// ebtables' nat -300 and 300.
inline constexpr int kLoopProbePriority = -320;      ///< bridge prerouting, before all that judges
inline constexpr int kMacFilterPriority = -310;      ///< both preroutings, before ebtables' nat
inline constexpr int kFlowUpPriority = 0;            ///< bridge input
inline constexpr int kHostUpPriority = 10;           ///< bridge input, a host's limit wins
inline constexpr int kQueueFramesPriority = 20;      ///< bridge input, once hosts' bits are clear
inline constexpr int kFromGatewayPriority = -300;    ///< bridge output
inline constexpr int kFlowDownPriority = 400;        ///< bridge postrouting, behind ebtables' nat
inline constexpr int kHostDownPriority = 410;        ///< bridge postrouting, a host's limit wins
inline constexpr int kDnsRedirectPriority = -105;    ///< NAT prerouting, before other redirections
inline constexpr int kDnsAroundPriority = -10;       ///< forward and input, ways round the filter
inline constexpr int kCpuInPriority = -310;          ///< input, before a flood costs anything
inline constexpr int kUrlBeforePriority = -160;      ///< forward, before iptables' mangle queues
inline constexpr int kUrlAfterPriority = -140;       ///< forward, behind it
inline constexpr int kIpFilterPriority = -5;         ///< forward, before "established" lets it pass
inline constexpr int kQueuePriority = 5;             ///< postrouting
inline constexpr int kManagementOutPriority = -145;  ///< output, behind mangle's own marks

/// The bits of a packet's mark that are ours; other programs' stay as they are. They live in three
/// phases that do not meet: in the bridge inwards a host's queue number; while a packet is routed
/// the URL filter's word and the number of the queue that its frame asked for; in the bridge
/// outwards whether the frame came out of the gateway, not from another port, and again the queue
/// number.
inline constexpr uint32_t kMarkMask = 0xff000000;
inline constexpr uint32_t kQueueIdMask = kLastMarkedQueue << kQueueMarkShift;
inline constexpr uint32_t kUrlMask = 0x03000000;
inline constexpr int kUrlShift = 24;
inline constexpr uint32_t kFrameQueueMask = 0xf0000000;
inline constexpr int kFrameQueueShift = 28;
inline constexpr uint32_t kFromGatewayMark = 0x01000000;

}  // namespace platform::platformd::enforce
