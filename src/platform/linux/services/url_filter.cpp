#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/include/records/url_filter.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::url_filter {

constexpr size_t kMaxAddresses = 1024;

struct UrlFilter {
    st_url_filter mode;
    std::vector<st_url_address> addresses;
};

UrlFilter g_filter;

void reset() {
    g_filter = {};
}

int32_t filter_set(st_url_filter& mode) {
    if (mode.em_listtype > kUrlFilterWhiteList) return -1;
    g_filter.mode = mode;
    return 0;
}

// Equal addresses are kept as often as they are set: when a rule is replaced by the same one, the
// new address is set before the old one is deleted.
int32_t address_set(st_url_address& address) {
    if (g_filter.addresses.size() == kMaxAddresses) return -1;
    g_filter.addresses.push_back(address);
    return 0;
}

int32_t address_delete(st_url_address& address) {
    const auto found = std::ranges::find_if(g_filter.addresses, [&](const st_url_address& held) {
        return memcmp(&held, &address, sizeof(held)) == 0;
    });
    if (found == g_filter.addresses.end()) return -1;
    g_filter.addresses.erase(found);
    return 0;
}

void print(std::string& out) {
    state_line(out, "enabled=%u listtype=%u addresses=%zu", g_filter.mode.filter_en,
               g_filter.mode.em_listtype, g_filter.addresses.size());
    for (const auto& address : g_filter.addresses)
        state_record(out, "address", kUrlAddressLayout, &address);
}

void told(std::string& out) {
    if (g_filter.mode.filter_en == 0) return;
    state_line(out, "listtype=%u", g_filter.mode.em_listtype);
    for (const auto& address : g_filter.addresses)
        state_record(out, "address", kUrlAddressLayout, &address);
}

constexpr ServiceCall kCalls[] = {
    service_call<filter_set>(kUrlFilterSet),
    service_call<address_set>(kUrlAddressSet),
    service_call<address_delete>(kUrlAddressDelete),
};

ServiceRegistration g_registration({.name = "url_filter",
                                    .init = "zu_sec_urlfilter_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told});

}  // namespace platform::platformd::url_filter
