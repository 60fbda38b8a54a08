#include <algorithm>
#include <cstring>

#include "platform/linux/platformd/service.h"
#include "platform/linux/services/mac_filter_rules.h"

namespace platform::platformd::mac_filter {

constexpr size_t kMaxItems = 1024;

MacFilter g_filter;

void reset() {
    g_filter = {};
}

int32_t mode_set(st_macfilter_mode& mode) {
    if (mode.mac_filter > kMacFilterWhiteList) return -1;
    g_filter.mode = mode.mac_filter;
    return 0;
}

auto find(const st_macfilter_item& item) {
    return std::ranges::find_if(g_filter.items, [&item](const st_macfilter_item& held) {
        return memcmp(&held, &item, sizeof(held)) == 0;
    });
}

// An item is held once, however many rules of the gateway name its address.
int32_t item_add(st_macfilter_item& item) {
    if (!makes_sense(item)) return -1;
    if (find(item) != g_filter.items.end()) return 0;
    if (g_filter.items.size() == kMaxItems) return -1;
    g_filter.items.push_back(item);
    return 0;
}

int32_t item_del(st_macfilter_item& item) {
    const auto found = find(item);
    if (found == g_filter.items.end()) return -1;
    g_filter.items.erase(found);
    return 0;
}

void print(std::string& out) {
    state_line(out, "mac_filter=%u items=%zu", g_filter.mode, g_filter.items.size());
    for (const auto& item : g_filter.items)
        state_record(out, "item", kMacFilterItemLayout, &item);
}

void told(std::string& out) {
    if (g_filter.mode == kMacFilterOff) return;
    state_line(out, "mac_filter=%u", g_filter.mode);
    for (const auto& item : g_filter.items)
        state_record(out, "item", kMacFilterItemLayout, &item);
}

void render(enforce::RuleText& text) {
    render(g_filter, text);
}

void repeat(CallList& calls) {
    calls.add(kMacFilterModeSet, {g_filter.mode});
    for (const auto& item : g_filter.items)
        calls.add(kMacFilterItemAdd, item);
}

constexpr enforce::OwnedChain kChains[] = {kPlaces[0].chain, kPlaces[1].chain};
constexpr enforce::OwnedSet kSets[] = {kPlaces[0].hosts, kPlaces[0].destinations, kPlaces[1].hosts,
                                       kPlaces[1].destinations};
constexpr enforce::Rules kRules{.chains = kChains, .sets = kSets, .render = render};

constexpr ServiceCall kCalls[] = {
    service_call<mode_set>(kMacFilterModeSet),
    service_call<item_add>(kMacFilterItemAdd),
    service_call<item_del>(kMacFilterItemDel),
};

ServiceRegistration g_registration({.name = "mac_filter",
                                    .init = "init_macfilter",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told,
                                    .rules = &kRules,
                                    .repeat = repeat});

}  // namespace platform::platformd::mac_filter
