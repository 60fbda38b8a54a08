#pragma once

#include <vector>

#include "platform/include/records/ip_filter.h"
#include "platform/linux/enforce/conntrack.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"

// What the IP filter's state means in the kernel.

namespace platform::platformd::ip_filter {

struct Chain {
    uint32_t enabled;
    uint32_t list_type;
    std::vector<st_filter_list> rules;
};

struct IpFilter {
    Chain up;
    Chain down;
};

/// False when a rule means nothing: an unknown protocol, a port beyond 65535, an address that is
/// none, addresses of both families.
bool makes_sense(const st_filter_list& rule);

inline constexpr enforce::OwnedChain kBase{enforce::Family::Inet, "ip_filter", "forward",
                                           enforce::kIpFilterPriority};
inline constexpr enforce::OwnedChain kUp{enforce::Family::Inet, "ip_filter_up"};
inline constexpr enforce::OwnedChain kDown{enforce::Family::Inet, "ip_filter_down"};

void render(const IpFilter& filter, enforce::RuleText& text);

/// Whether these rules would stop the connection's packets in either direction; `from_lan` says at
/// which end of it the LAN is.
bool stops(const IpFilter& filter, const enforce::Connection& connection, bool from_lan);

}  // namespace platform::platformd::ip_filter
