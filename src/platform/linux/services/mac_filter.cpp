#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/include/records/mac_filter.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::mac_filter {

constexpr size_t kMaxItems = 1024;

uint32_t g_mode;
std::vector<st_macfilter_item> g_items;

void reset() {
    g_mode = kMacFilterOff;
    g_items.clear();
}

int32_t mode_set(st_macfilter_mode& mode) {
    if (mode.mac_filter > kMacFilterWhiteList) return -1;
    g_mode = mode.mac_filter;
    return 0;
}

bool is_item(const st_macfilter_item& item) {
    return strnlen(item.mac, sizeof(item.mac)) == sizeof(item.mac) - 1 &&
           (item.mac_kind == kMacKindHost || item.mac_kind == kMacKindDestination);
}

auto find(const st_macfilter_item& item) {
    return std::ranges::find_if(g_items, [&item](const st_macfilter_item& held) {
        return memcmp(&held, &item, sizeof(held)) == 0;
    });
}

// An item is held once, however many rules of the gateway name its address.
int32_t item_add(st_macfilter_item& item) {
    if (!is_item(item)) return -1;
    if (find(item) != g_items.end()) return 0;
    if (g_items.size() == kMaxItems) return -1;
    g_items.push_back(item);
    return 0;
}

int32_t item_del(st_macfilter_item& item) {
    const auto found = find(item);
    if (found == g_items.end()) return -1;
    g_items.erase(found);
    return 0;
}

void print(std::string& out) {
    state_line(out, "mac_filter=%u items=%zu", g_mode, g_items.size());
    for (const auto& item : g_items)
        state_record(out, "item", kMacFilterItemLayout, &item);
}

constexpr ServiceCall kCalls[] = {
    service_call<mode_set>(kMacFilterModeSet),
    service_call<item_add>(kMacFilterItemAdd),
    service_call<item_del>(kMacFilterItemDel),
};

ServiceRegistration g_registration({.name = "mac_filter",
                                    .init = "init_macfilter",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print});

}  // namespace platform::platformd::mac_filter
