#pragma once

#include <vector>

#include "platform/include/records/mac_filter.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"

// What the MAC filter's state means in the kernel.

namespace platform::platformd::mac_filter {

struct MacFilter {
    uint32_t mode;
    std::vector<st_macfilter_item> items;
};

/// False when the item's address is none, or its kind is unknown.
bool makes_sense(const st_macfilter_item& item);

/// Where packets are judged.
struct Place {
    enforce::OwnedChain chain;
    enforce::OwnedSet hosts;
    enforce::OwnedSet destinations;
};

/// Frames in bridges, and what comes to the gateway where br-lan is none. What the first has
/// stopped never comes to the second.
inline constexpr Place kPlaces[] = {
    {{enforce::Family::Bridge, "mac_filter", "prerouting", enforce::kMacFilterPriority},
     {enforce::Family::Bridge, "mac_hosts", "ether_addr"},
     {enforce::Family::Bridge, "mac_dests", "ether_addr"}},
    {{enforce::Family::Inet, "mac_filter", "prerouting", enforce::kMacFilterPriority},
     {enforce::Family::Inet, "mac_hosts", "ether_addr"},
     {enforce::Family::Inet, "mac_dests", "ether_addr"}},
};

void render(const MacFilter& filter, enforce::RuleText& text);

}  // namespace platform::platformd::mac_filter
