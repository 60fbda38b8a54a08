#include <algorithm>
#include <cstring>

#include "platform/linux/enforce/nft.h"
#include "platform/linux/inspect/list_message.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/services/url_filter_rules.h"
#include "platform/linux/services/url_inspector.h"
#include "platform/linux/services/url_queue.h"

namespace platform::platformd::url_filter {

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
    if (g_filter.addresses.size() == inspect::kMaxAddresses) return -1;
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
    for (const auto& address : g_filter.addresses)
        if (!makes_sense(address))
            state_record(out, std::string(kNotEnforced) + "no host:", kUrlAddressLayout, &address);
}

void told(std::string& out) {
    if (g_filter.mode.filter_en == 0) return;
    state_line(out, "listtype=%u", g_filter.mode.em_listtype);
    for (const auto& address : g_filter.addresses)
        state_record(out, "address", kUrlAddressLayout, &address);
}

void render(enforce::RuleText& text) {
    render(g_filter, nft_may_queue(), text);
}

void follow() {
    const auto list = list_message(g_filter);
    keep_queue_rule(!list.empty());
    keep_inspector(list);
}

void observe(std::string& out) {
    for (const auto& trouble : {inspector_trouble(), queue_rule_trouble()})
        if (!trouble.empty()) state_line(out, "%s", trouble.c_str());
}

void release() {
    keep_queue_rule(false);
    keep_inspector({});
}

void repeat(CallList& calls) {
    calls.add(kUrlFilterSet, g_filter.mode);
    for (const auto& address : g_filter.addresses)
        calls.add(kUrlAddressSet, address);
}

constexpr enforce::OwnedChain kChains[] = {kBefore, kJudge, kContent, kAfter};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};
constexpr enforce::Outside kOutside{.follow = follow, .observe = observe, .release = release};

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
                                    .told = told,
                                    .rules = &kRules,
                                    .outside = &kOutside,
                                    .repeat = repeat});

}  // namespace platform::platformd::url_filter
