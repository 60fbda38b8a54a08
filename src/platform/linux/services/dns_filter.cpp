#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/include/records/dns_filter.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/record_text.h"

namespace platform::platformd::dns_filter {

constexpr size_t kMostHosts = 1024;

struct Rule {
    st_item item;
    std::vector<std::string> hosts;
};

std::map<uint8_t, Rule> g_rules;

void reset() {
    g_rules.clear();
}

std::vector<std::string> read_hosts(uint8_t index) {
    std::string path = kDnsFilterRuleHostList;
    path += '_';
    path += std::to_string(index);
    std::ifstream file(path);
    std::vector<std::string> hosts;
    for (std::string line; hosts.size() < kMostHosts && std::getline(file, line);)
        hosts.push_back(line);
    return hosts;
}

/// No days and no hours mean always, whether the text has its separator or is empty.
void keep_time(st_item& held, const st_item& item) {
    memcpy(held.auc_time, item.auc_time, sizeof(held.auc_time));
    if (strcmp(held.auc_time, ";") == 0) held.auc_time[0] = '\0';
}

int32_t add(st_item& item) {
    auto& held = g_rules[item.index] = {item, {}};
    keep_time(held.item, item);
    return 0;
}

// A rule that is switched off is deleted whether it was on or not.
int32_t del(st_item& item) {
    g_rules.erase(item.index);
    return 0;
}

int32_t set(st_item& item) {
    const auto found = g_rules.find(item.index);
    if (found == g_rules.end()) return -1;
    auto& [held, hosts] = found->second;
    if (item.Bitmap & kDnsFilterSetEnable) held.enable = item.enable;
    if (item.Bitmap & kDnsFilterSetMac) memcpy(held.auc_mac, item.auc_mac, sizeof(held.auc_mac));
    if (item.Bitmap & kDnsFilterSetMode) held.mode = item.mode;
    if (item.Bitmap & kDnsFilterSetAction) held.action = item.action;
    if (item.Bitmap & kDnsFilterSetTime) keep_time(held, item);
    if (item.Bitmap & kDnsFilterSetHosts) {
        held.hostflag = item.hostflag;
        hosts = read_hosts(item.index);
    }
    return 0;
}

int32_t get(st_item& item) {
    const auto found = g_rules.find(item.index);
    if (found != g_rules.end()) item = found->second.item;
    return 0;
}

void print(std::string& out) {
    for (const auto& [index, rule] : g_rules) {
        state_record(out, "rule", kDnsFilterShortItemLayout, &rule.item);
        for (const auto& host : rule.hosts) {
            std::string quoted;
            append_quoted(quoted, host);
            state_line(out, "rule %u host %s", index, quoted.c_str());
        }
    }
}

constexpr ServiceCall kCalls[] = {
    service_call<add>(kDnsFilterAdd),
    service_call<del>(kDnsFilterDel),
    service_call<set>(kDnsFilterSet),
    service_call<get>(kDnsFilterGet),
};

ServiceRegistration g_registration({.name = "dns_filter",
                                    .init = "zu_sec_dnsfilter_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = print});

}  // namespace platform::platformd::dns_filter
