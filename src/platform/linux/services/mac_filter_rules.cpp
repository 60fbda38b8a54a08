#include "platform/linux/services/mac_filter_rules.h"

#include <netinet/ether.h>

#include <cstring>

namespace platform::platformd::mac_filter {

namespace {

bool parse(const st_macfilter_item& item, ether_addr& address) {
    return strnlen(item.mac, sizeof(item.mac)) == sizeof(item.mac) - 1 &&
           ether_aton_r(item.mac, &address);
}

std::string text_of(const ether_addr& address) {
    char text[sizeof(st_macfilter_item::mac)];
    const auto* octets = address.ether_addr_octet;
    snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2],
             octets[3], octets[4], octets[5]);
    return text;
}

void render(const MacFilter& filter, const Place& place, enforce::RuleText& text) {
    for (const auto& item : filter.items) {
        ether_addr address;
        if (!parse(item, address)) continue;
        text.element(item.mac_kind == kMacKindHost ? place.hosts : place.destinations,
                     text_of(address));
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
    ether_addr address;
    return parse(item, address) &&
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
