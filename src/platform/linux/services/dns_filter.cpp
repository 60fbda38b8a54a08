extern "C" {
#include <libubox/uloop.h>
}

#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "platform/linux/enforce/applier.h"
#include "platform/linux/enforce/children.h"
#include "platform/linux/platformd/own_files.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/record_text.h"
#include "platform/linux/services/dns_filter_rules.h"

namespace platform::platformd::dns_filter {

constexpr size_t kMaxHosts = 1024;
constexpr uint32_t kAllFields = ~0U;

RulesByIndex g_rules;
/// What each resolver has read, as far as is known.
std::map<uint8_t, std::string> g_told;
/// The rules that answered when the time was last looked at.
std::vector<uint8_t> g_answering;
uloop_timeout g_clock;

void reset() {
    g_rules.clear();
}

std::vector<std::string> read_hosts(uint8_t index) {
    std::string path = kDnsFilterRuleHostList;
    path += '_';
    path += std::to_string(index);
    std::ifstream file(path);
    std::vector<std::string> hosts;
    for (std::string line; hosts.size() < kMaxHosts && std::getline(file, line);)
        hosts.push_back(line);
    return hosts;
}

/// No days and no hours mean always, whether the text has its separator or is empty.
void keep_time(st_item& held, const st_item& item) {
    memcpy(held.auc_time, item.auc_time, sizeof(held.auc_time));
    if (strcmp(held.auc_time, ";") == 0) held.auc_time[0] = '\0';
}

int32_t add(st_item& item) {
    if (!makes_sense(item, kAllFields)) return -1;
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
    if (found == g_rules.end() || !makes_sense(item, item.Bitmap)) return -1;
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

void print_host(std::string& out, const char* before, uint8_t index, const std::string& host) {
    std::string quoted;
    append_quoted(quoted, host);
    state_line(out, "%srule %u host %s", before, index, quoted.c_str());
}

void print_what_cannot_be(std::string& out, uint8_t index, const Rule& rule) {
    for (const auto& host : rule.hosts)
        if (!is_name(host)) print_host(out, kNotEnforced, index, host);
    if (!is_time_readable(time_of(rule)))
        state_line(out, "%srule %u auc_time", kNotEnforced, index);
    const int earlier = earlier_rule(g_rules, index);
    if (earlier >= 0)
        state_line(out, "%srule %u while rule %d has the same clients", kNotEnforced, index,
                   earlier);
}

void print_rule(std::string& out, const Rule& rule) {
    state_record(out, "rule", kDnsFilterShortItemLayout, &rule.item);
    for (const auto& host : rule.hosts)
        print_host(out, "", rule.item.index, host);
}

void print(std::string& out) {
    for (const auto& [index, rule] : g_rules) {
        print_rule(out, rule);
        if (rule.item.enable == 1) print_what_cannot_be(out, index, rule);
    }
}

// A rule that is off is as good as deleted, and so is a black list of nothing.
void told(std::string& out) {
    for (const auto& [index, rule] : g_rules)
        if (rule.item.enable == 1 && (rule.item.mode != 0 || !rule.hosts.empty()))
            print_rule(out, rule);
}

// The list is where it was read before, or what the daemon has put there since.
void repeat(CallList& calls) {
    for (const auto& [index, rule] : g_rules) {
        auto item = rule.item;
        calls.add(kDnsFilterAdd, item);
        item.Bitmap = kDnsFilterSetHosts;
        if (!rule.hosts.empty()) calls.add(kDnsFilterSet, item);
    }
}

std::vector<uint8_t> answering_now() {
    const time_t seconds = time(nullptr);
    tm now{};
    tzset();
    localtime_r(&seconds, &now);
    return answering(g_rules, now);
}

bool is_answering(uint8_t index) {
    return std::ranges::find(g_answering, index) != g_answering.end();
}

void watch_clock();

void on_minute(uloop_timeout*) {
    if (answering_now() != g_answering) enforce::changed();
    watch_clock();
}

// It is looked at at the full minutes, so that a clock that is set is noticed like one that goes
// on.
void watch_clock() {
    g_clock.cb = on_minute;
    const bool has_times = std::ranges::any_of(
        g_rules, [](const auto& entry) { return !time_of(entry.second).empty(); });
    if (has_times)
        uloop_timeout_set(&g_clock, static_cast<int>(60 - time(nullptr) % 60) * 1000);
    else
        uloop_timeout_cancel(&g_clock);
}

/// Whether a process of ours could become that user: in a container some may be nobody.
bool has_user(const passwd& user) {
    std::ifstream map("/proc/self/uid_map");
    for (uint32_t first, outside, count; map >> first >> outside >> count;)
        if (user.pw_uid - first < count) return true;
    return false;
}

// The resolver reads what anybody sends it, and needs no rights.
const char* resolver_user() {
    for (const char* name : {"dnsmasq", "nobody"})
        if (const auto* user = getpwnam(name); user && has_user(*user)) return name;
    return "";
}

/// The first of the LAN's addresses of a family that are good beyond the link; empty: none.
std::string lan_address(const ifaddrs* all, int family) {
    char text[NI_MAXHOST];
    const socklen_t size = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    for (const auto* one = all; one; one = one->ifa_next) {
        const auto* address = one->ifa_addr;
        if (!address || address->sa_family != family) continue;
        if (strcmp(one->ifa_name, enforce::kLanBridge) != 0) continue;
        const bool is_named =
            getnameinfo(address, size, text, sizeof(text), nullptr, 0, NI_NUMERICHOST) == 0;
        if (is_named && !strchr(text, '%')) return text;
    }
    return {};
}

std::vector<std::string> gateway_addresses() {
    std::vector<std::string> found;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) return found;
    for (const int family : {AF_INET, AF_INET6})
        if (auto address = lan_address(all, family); !address.empty())
            found.push_back(std::move(address));
    freeifaddrs(all);
    return found;
}

bool has_file(uint8_t index, const std::string& text) {
    const auto name = resolver_name(index);
    return read_own_file(name) == text || write_own_file(name, text, kForAll);
}

// One that starts reads its file by itself, and a signal that comes too early would end it.
void tell(uint8_t index) {
    const auto name = resolver_name(index);
    const auto text = servers_text(g_rules.at(index));
    auto& told = g_told.try_emplace(index, enforce::child_serves(name) ? "" : text).first->second;
    if (told == text) return;
    told.clear();
    if (enforce::signal_child(name, SIGHUP)) told = text;
}

void remove_files(const std::vector<enforce::Child>& kept) {
    for (const auto& file : own_files(kResolvers))
        if (std::ranges::find(kept, file, &enforce::Child::name) == kept.end())
            remove_own_file(file);
}

void follow() {
    const auto gateway = gateway_addresses();
    std::vector<enforce::Child> resolvers;
    g_answering = answering_now();
    for (const auto index : g_answering) {
        const auto& rule = g_rules.at(index);
        const auto name = resolver_name(index);
        if (!has_file(index, servers_text(rule))) continue;
        resolvers.push_back(
            {name, resolver_words(index, rule, own_path(name), resolver_user(), gateway)});
    }
    enforce::keep_children(kResolvers, resolvers);
    std::erase_if(g_told, [](const auto& told) { return !is_answering(told.first); });
    for (const auto index : g_answering)
        tell(index);
    remove_files(resolvers);
    watch_clock();
}

void release() {
    uloop_timeout_cancel(&g_clock);
    enforce::keep_children(kResolvers, {});
    remove_files({});
    g_told.clear();
}

void observe(std::string& out) {
    for (const auto index : answering_now()) {
        const auto name = resolver_name(index);
        const auto trouble = enforce::child_trouble(name);
        if (!trouble.empty()) state_line(out, "rule %u: its resolver: %s", index, trouble.c_str());
        if (read_own_file(name) != servers_text(g_rules.at(index)))
            state_line(out, "rule %u: its resolver has another list", index);
    }
}

void render(enforce::RuleText& text) {
    auto serving = answering_now();
    std::erase_if(serving,
                  [](uint8_t index) { return !enforce::child_serves(resolver_name(index)); });
    render(g_rules, serving, text);
}

constexpr enforce::OwnedChain kChains[] = {kRedirect, kEncrypted, kForward, kInput};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};
constexpr enforce::Outside kOutside{.follow = follow, .observe = observe, .release = release};

constexpr ServiceCall kCalls[] = {
    service_call<add>(kDnsFilterAdd),
    service_call<del>(kDnsFilterDel),
    service_call<set>(kDnsFilterSet),
    service_question<get>(kDnsFilterGet),
};

ServiceRegistration g_registration({.name = "dns_filter",
                                    .init = "zu_sec_dnsfilter_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told,
                                    .rules = &kRules,
                                    .outside = &kOutside,
                                    .repeat = repeat});

}  // namespace platform::platformd::dns_filter
