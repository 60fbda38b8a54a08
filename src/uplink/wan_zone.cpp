#include "uplink/wan_zone.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/tokens.h"
#include "uplink/uplink_uci.h"

/// Prints one line at once, so that it can be followed while services reload.
#define ZONE_LOG(text, ...)                                                              \
    (std::printf("[add_la_to_wan_firewall_zone] " text "\n" __VA_OPT__(, ) __VA_ARGS__), \
     std::fflush(stdout))

namespace appcfg::uplink {
namespace {

constexpr char kInterface[] = "la";

const char* printable(const char* text) {
    return text ? text : "(null)";
}

bool names_la(uci_section* zone, const char* networks) {
    if (!networks) return has_list_value(zone, "network", kInterface);
    base::Tokens words(networks, " ");
    for (std::string_view word; words.next(word);)
        if (word == kInterface) return true;
    return false;
}

uci_section* find_wan_zone(uci_package* package) {
    uci_element* element;
    uci_foreach_element(&package->sections, element) {
        uci_section* zone = uci_to_section(element);
        if (!is_of_type(zone, "zone")) continue;
        const char* name = option_string(zone, "name");
        ZONE_LOG("Found zone: %s (section name: %s)", printable(name), printable(element->name));
        if (name && std::strcmp(name, "wan") == 0) return zone;
    }
    return nullptr;
}

void add_interface(UciFile& firewall, uci_section* zone) {
    ZONE_LOG("Found wan zone, section name: %s", printable(zone->e.name));
    const char* networks = option_string(zone, "network");
    ZONE_LOG("Current wan zone network list: %s", printable(networks));
    if (names_la(zone, networks)) {
        ZONE_LOG("'la' already in network list, skipping");
        return;
    }
    ZONE_LOG("Adding 'la' to wan zone network list...");
    const bool added = add_list_value(zone, "network", kInterface);
    ZONE_LOG("uci_add_list returned: %d", added ? UCI_OK : UCI_ERR_INVAL);
    if (!added) {
        ZONE_LOG("ERROR: Failed to add network option");
        return;
    }
    ZONE_LOG("Successfully added network option, committing...");
    const bool committed = firewall.commit();
    ZONE_LOG("uci_commit returned: %d", committed ? UCI_OK : UCI_ERR_IO);
}

}  // namespace

void add_la_to_wan_firewall_zone() {
    ZONE_LOG("Start: Adding 'la' interface to wan zone network list");
    const UciContext context = uci_new_context();
    if (!context) {
        ZONE_LOG("ERROR: Failed to allocate UCI context");
        return;
    }
    ZONE_LOG("Loading firewall config...");
    UciFile firewall(context.get(), "firewall");
    if (!firewall.load_for_change()) {
        ZONE_LOG("ERROR: Failed to load firewall config");
        return;
    }
    ZONE_LOG("Firewall config loaded successfully");
    ZONE_LOG("Searching for wan zone...");
    if (uci_section* zone = find_wan_zone(firewall.package())) add_interface(firewall, zone);
    ZONE_LOG("Completed");
}

}  // namespace appcfg::uplink
