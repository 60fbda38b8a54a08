#include "platform/linux/services/mac_filter_rules.h"

#include <cstring>

#include "platform/linux/services/packet_text.h"

namespace platform::platformd::mac_filter {

namespace {

/// Empty when the item's address is none.
std::string address_of(const st_macfilter_item& item) {
    return packet_text::mac_text({item.mac, strnlen(item.mac, sizeof(item.mac))});
}

void render(const MacFilter& filter, const Place& place, enforce::RuleText& text) {
    for (const auto& item : filter.items) {
        const auto address = address_of(item);
        if (address.empty()) continue;
        text.element(item.mac_kind == kMacKindHost ? place.hosts : place.destinations, address);
    }
    std::string from;
    if (place.chain.family == enforce::Family::Inet)
        from = std::string("iifname \"") + enforce::kLanBridge + "\" ";
    if (filter.mode == kMacFilterWhiteList) {
        text.rule(place.chain,
                  "%sether saddr != @%s ether daddr != @%s counter drop comment \"not listed\"",
                  from.c_str(), place.hosts.name, place.destinations.name);
    } else {
        text.rule(place.chain, "%sether saddr @%s drop", from.c_str(), place.hosts.name);
        text.rule(place.chain, "%sether daddr @%s drop", from.c_str(), place.destinations.name);
    }
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
    for (const auto& place : kPlaces)
        render(filter, place, text);
}

}  // namespace platform::platformd::mac_filter
