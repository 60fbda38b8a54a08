extern "C" {
#include <libubox/uloop.h>
}

#include <arpa/inet.h>
#include <ifaddrs.h>
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

constexpr size_t kMostHosts = 1024;
constexpr uint32_t kAllFields = ~0U;
constexpr char kResolvers[] = "dns_";
constexpr int kMinuteMs = 60'000;

RulesByIndex g_rules;
/// What each resolver has last been told to read.
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

// The list is where it was read before, or what the daemon has put there since.
void repeat(CallList& calls) {
    for (const auto& [index, rule] : g_rules) {
        auto item = rule.item;
        calls.add(kDnsFilterAdd, item);
        item.Bitmap = kDnsFilterSetHosts;
        if (!rule.hosts.empty()) calls.add(kDnsFilterSet, item);
    }
}

tm local_time() {
    const time_t seconds = time(nullptr);
    tm now{};
    tzset();
    localtime_r(&seconds, &now);
    return now;
}

std::vector<uint8_t> answering_now() {
    return answering(g_rules, local_time());
}

// A clock that is set is noticed like one that goes on.
void on_minute(uloop_timeout*) {
    uloop_timeout_set(&g_clock, kMinuteMs);
    if (answering_now() != g_answering) enforce::changed();
}

void watch_clock() {
    const bool is_needed = std::ranges::any_of(
        g_rules, [](const auto& entry) { return !time_of(entry.second).empty(); });
    if (!is_needed) {
        uloop_timeout_cancel(&g_clock);
        return;
    }
    if (g_clock.pending) return;
    g_clock.cb = on_minute;
    uloop_timeout_set(&g_clock, static_cast<int>(60 - time(nullptr) % 60) * 1000);
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
    return "root";
}

/// The LAN's first address of each kind, as text.
std::vector<std::string> gateway_addresses() {
    std::vector<std::string> found;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) return found;
    bool has_four = false, has_six = false;
    for (const auto* one = all; one; one = one->ifa_next) {
        if (!one->ifa_addr || strcmp(one->ifa_name, enforce::kLanBridge) != 0) continue;
        char text[INET6_ADDRSTRLEN];
        const auto* four = reinterpret_cast<const sockaddr_in*>(one->ifa_addr);
        const auto* six = reinterpret_cast<const sockaddr_in6*>(one->ifa_addr);
        if (one->ifa_addr->sa_family == AF_INET && !has_four) {
            found.push_back(inet_ntop(AF_INET, &four->sin_addr, text, sizeof(text)));
            has_four = true;
        } else if (one->ifa_addr->sa_family == AF_INET6 && !has_six &&
                   !IN6_IS_ADDR_LINKLOCAL(&six->sin6_addr)) {
            found.push_back(inet_ntop(AF_INET6, &six->sin6_addr, text, sizeof(text)));
            has_six = true;
        }
    }
    freeifaddrs(all);
    return found;
}

bool has_file(uint8_t index, const std::string& text) {
    const auto name = resolver_name(index);
    return read_own_file(name) == text || write_own_file(name, text, kForAll);
}

void tell(uint8_t index) {
    const auto name = resolver_name(index);
    const auto text = servers_text(g_rules.at(index));
    if (!enforce::child_serves(name))
        g_told.erase(index);
    else if (g_told[index] != text && enforce::signal_child(name, SIGHUP))
        g_told[index] = text;
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

void observe_list(std::string& out, uint8_t index, const Rule& rule) {
    for (const auto& host : rule.hosts) {
        if (is_name(host)) continue;
        std::string quoted;
        append_quoted(quoted, host);
        state_line(out, "rule %u: not enforced: %s is no name", index, quoted.c_str());
    }
    if (!is_time_readable(time_of(rule)))
        state_line(out, "rule %u: its time cannot be read, and so is always", index);
}

void observe_resolver(std::string& out, uint8_t index, const Rule& rule) {
    const auto name = resolver_name(index);
    const auto trouble = enforce::child_trouble(name);
    if (!trouble.empty())
        state_line(out, "rule %u: not enforced: its resolver: %s", index, trouble.c_str());
    if (read_own_file(name) != servers_text(rule))
        state_line(out, "rule %u: not enforced: its resolver has another list", index);
}

void observe(std::string& out) {
    const auto now = local_time();
    const auto all = answering(g_rules, now);
    for (const auto& [index, rule] : g_rules) {
        if (rule.item.enable != 1) continue;
        observe_list(out, index, rule);
        if (!is_due(rule, now)) continue;
        if (std::ranges::find(all, index) != all.end())
            observe_resolver(out, index, rule);
        else
            state_line(out, "rule %u: not enforced: another has the same clients", index);
    }
}

void render(enforce::RuleText& text) {
    auto serving = answering_now();
    std::erase_if(serving,
                  [](uint8_t index) { return !enforce::child_serves(resolver_name(index)); });
    render(g_rules, serving, text);
}

// A rule that is off is as good as deleted, and so is a black list of nothing.
void told(std::string& out) {
    for (const auto& [index, rule] : g_rules) {
        if (rule.item.enable != 1 || (rule.item.mode == 0 && rule.hosts.empty())) continue;
        state_record(out, "rule", kDnsFilterShortItemLayout, &rule.item);
        for (const auto& host : rule.hosts) {
            std::string quoted;
            append_quoted(quoted, host);
            state_line(out, "rule %u host %s", index, quoted.c_str());
        }
    }
}

constexpr enforce::OwnedChain kChains[] = {kRedirect, kEncrypted, kForward, kInput};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};
constexpr enforce::Outside kOutside{.follow = follow, .observe = observe, .release = release};

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
                                    .told = told,
                                    .rules = &kRules,
                                    .outside = &kOutside,
                                    .repeat = repeat});

}  // namespace platform::platformd::dns_filter
