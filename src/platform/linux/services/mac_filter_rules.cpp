#include "platform/linux/services/mac_filter_rules.h"

#include <cstring>

#include "platform/linux/services/packet_text.h"

namespace platform::platformd::mac_filter {

namespace {

/// Empty when the item's address is none.
std::string address_of(const st_macfilter_item& item) {
    return packet_text::mac_text({item.mac, strnlen(item.mac, sizeof(item.mac))});
}

}  // namespace

bool makes_sense(const st_macfilter_item& item) {
    return !address_of(item).empty() &&
           (item.mac_kind == kMacKindHost || item.mac_kind == kMacKindDestination);
}

// A white list without an item admits all: otherwise whoever chooses the white list would be locked
// out before he can enter himself.
void render(const MacFilter& filter, enforce::RuleText& text) {
    if (filter.mode == kMacFilterOff || filter.items.empty()) return;
    for (const auto& item : filter.items) {
        const auto address = address_of(item);
        if (address.empty()) continue;
        text.element(item.mac_kind == kMacKindHost ? kHosts : kDestinations, address);
    }
    if (filter.mode == kMacFilterWhiteList) {
        text.rule(kFrames,
                  "ether saddr != @%s ether daddr != @%s counter drop comment \"not listed\"",
                  kHosts.name, kDestinations.name);
    } else {
        text.rule(kFrames, "ether saddr @%s drop", kHosts.name);
        text.rule(kFrames, "ether daddr @%s drop", kDestinations.name);
    }
}

}  // namespace platform::platformd::mac_filter
