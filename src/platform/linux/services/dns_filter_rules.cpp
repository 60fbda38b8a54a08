#include "platform/linux/services/dns_filter_rules.h"

#include <algorithm>
#include <cstring>

#include "base/tokens.h"
#include "platform/linux/services/packet_text.h"

namespace platform::platformd::dns_filter {

using packet_text::mac_text;

struct Hours {
    int begin, end;  ///< minutes of the day
};

namespace {

constexpr uint8_t kBlackList = 0;
constexpr uint8_t kWhiteList = 1;
constexpr uint8_t kAnswerGateway = 1;
constexpr uint8_t kOnlyLog = 2;

/// Below the ports that the kernel hands out, so that nobody else has one by chance.
constexpr unsigned kFirstPort = 30530;
constexpr char kUpstream[] = "127.0.0.1#53";

constexpr size_t kMaxName = 253;
constexpr size_t kMaxLabel = 63;
constexpr std::string_view kNameCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr int kHourMinutes = 60;
constexpr int kDayMinutes = 24 * kHourMinutes;
constexpr int kWeekDays = 7;
constexpr unsigned kAllDays = (1U << kWeekDays) - 1;  ///< bit 0 is Monday

unsigned port_of(uint8_t index) {
    return kFirstPort + index;
}

std::string_view client_of(const st_item& item) {
    return {item.auc_mac, strnlen(item.auc_mac, sizeof(item.auc_mac))};
}

bool is_digits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

/// One or two digits up to `most`; -1: none.
int small_number(std::string_view text, int most) {
    if (text.size() > 2 || !is_digits(text)) return -1;
    int number = 0;
    for (const char digit : text)
        number = number * 10 + (digit - '0');
    return number <= most ? number : -1;
}

/// The parts before and behind the first separator.
std::pair<std::string_view, std::string_view> split(std::string_view text, char separator) {
    const auto at = std::min(text.find(separator), text.size());
    return {text.substr(0, at), text.substr(std::min(at + 1, text.size()))};
}

int minutes(std::string_view text) {
    const auto [hours, rest] = split(text, ':');
    const int hour = small_number(hours, 24), minute = small_number(rest, 59);
    const int all = hour * kHourMinutes + minute;
    return hour < 0 || minute < 0 || all > kDayMinutes ? -1 : all;
}

bool parse_days(std::string_view text, unsigned& days) {
    days = text.empty() ? kAllDays : 0;
    base::Tokens numbers(text, ", ");
    for (std::string_view number; numbers.next(number);) {
        const int day = small_number(number, kWeekDays);
        if (day < 1) return false;
        days |= 1U << (day - 1);
    }
    return days != 0;
}

bool parse_hours(std::string_view text, std::vector<Hours>& all) {
    base::Tokens periods(text, ", ");
    for (std::string_view period; periods.next(period);) {
        const auto [begin, end] = split(period, '-');
        all.push_back({minutes(begin), minutes(end)});
        if (all.back().begin < 0 || all.back().end < 0) return false;
    }
    return text.empty() || !all.empty();
}

/// What a packet of the rule's clients begins with.
std::string of_client(const Rule& rule) {
    const auto address = mac_text(client_of(rule.item));
    return address.empty() ? "" : "ether saddr " + address + ' ';
}

}  // namespace

bool makes_sense(const st_item& item, uint32_t fields) {
    const auto client = client_of(item);
    return !(((fields & kDnsFilterSetMode) && item.mode > kWhiteList) ||
             ((fields & kDnsFilterSetAction) && item.action > kOnlyLog) ||
             ((fields & kDnsFilterSetMac) && !client.empty() && mac_text(client).empty()));
}

bool is_name(std::string_view host) {
    if (host.ends_with('.')) host.remove_suffix(1);
    if (host.size() > kMaxName) return false;
    for (;;) {
        const auto [label, rest] = split(host, '.');
        if (label.empty() || label.size() > kMaxLabel) return false;
        if (label.find_first_not_of(kNameCharacters) != label.npos) return false;
        if (label.size() == host.size()) return true;
        host = rest;
    }
}

// Hours that go beyond midnight belong to the day on which they begin.
bool is_time(std::string_view text, const tm& now) {
    const auto [days_text, hours_text] = split(text, ';');
    unsigned days;
    std::vector<Hours> hours;
    if (!parse_days(days_text, days)) days = kAllDays;
    if (!parse_hours(hours_text, hours)) hours.clear();
    if (hours.empty()) hours.push_back({0, kDayMinutes});
    const int minute = now.tm_hour * kHourMinutes + now.tm_min;
    const unsigned yesterday = static_cast<unsigned>(now.tm_wday + kWeekDays - 2) % kWeekDays;
    const bool from_today = (days >> (yesterday + 1) % kWeekDays) & 1;
    const bool from_yesterday = (days >> yesterday) & 1;
    return std::ranges::any_of(hours, [=](const Hours& period) {
        if (period.begin < period.end)
            return from_today && minute >= period.begin && minute < period.end;
        return (from_today && minute >= period.begin) || (from_yesterday && minute < period.end);
    });
}

bool is_time_readable(std::string_view text) {
    const auto [days_text, hours_text] = split(text, ';');
    unsigned days;
    std::vector<Hours> hours;
    return parse_days(days_text, days) && parse_hours(hours_text, hours);
}

std::string_view time_of(const Rule& rule) {
    return {rule.item.auc_time, strnlen(rule.item.auc_time, sizeof(rule.item.auc_time))};
}

// A white list without a name would stop everything, a black list nothing.
bool is_due(const Rule& rule, const tm& now) {
    return rule.item.enable == 1 && std::ranges::any_of(rule.hosts, is_name) &&
           is_time(time_of(rule), now);
}

std::vector<uint8_t> answering(const RulesByIndex& rules, const tm& now) {
    std::vector<uint8_t> found;
    std::vector<std::string> clients;
    for (const auto& [index, rule] : rules) {
        const auto client = of_client(rule);
        if (!is_due(rule, now) || std::ranges::count(clients, client) > 0) continue;
        clients.push_back(client);
        found.push_back(index);
    }
    std::ranges::stable_partition(
        found, [&](uint8_t index) { return !of_client(rules.at(index)).empty(); });
    return found;
}

int earlier_rule(const RulesByIndex& rules, uint8_t index) {
    const auto client = of_client(rules.at(index));
    for (const auto& [other, rule] : rules)
        if (other < index && rule.item.enable == 1 && of_client(rule) == client) return other;
    return -1;
}

std::string resolver_name(uint8_t index) {
    return kResolvers + std::to_string(index);
}

// What is not to be resolved has nobody who could be asked. Without a server for all other names
// they are refused.
std::string servers_text(const Rule& rule) {
    const bool passes = rule.item.action == kOnlyLog;
    std::string text;
    if (passes || rule.item.mode == kBlackList)
        text.append("server=").append(kUpstream).append("\n");
    if (passes) return text;
    const char* whom = rule.item.mode == kWhiteList ? kUpstream : "";
    for (const auto& host : rule.hosts)
        if (is_name(host))
            text.append("server=/").append(host).append("/").append(whom).append("\n");
    return text;
}

// Nothing is read or remembered but what is said here, and nobody is served but the LAN.
std::vector<std::string> resolver_words(uint8_t index, const Rule& rule,
                                        const std::string& servers_path, const std::string& user,
                                        std::span<const std::string> gateway) {
    std::vector<std::string> words{"dnsmasq",
                                   "--keep-in-foreground",
                                   "--conf-file=/dev/null",
                                   "--pid-file=",
                                   "--no-resolv",
                                   "--no-hosts",
                                   "--port=" + std::to_string(port_of(index)),
                                   std::string("--interface=") + enforce::kLanBridge,
                                   "--bind-dynamic",
                                   "--except-interface=lo",
                                   "--cache-size=0",
                                   "--servers-file=" + servers_path,
                                   "--user=" + user};
    if (user.empty()) words.push_back("--group=");
    if (rule.item.action == kOnlyLog) words.push_back("--log-queries");
    if (rule.item.action != kAnswerGateway) return words;
    const auto answer = [&](const std::string& host) {
        for (const auto& address : gateway)
            words.push_back("--address=/" + host + '/' + address);
    };
    if (rule.item.mode == kWhiteList) answer("#");
    for (const auto& host : rule.hosts)
        if (rule.item.mode == kBlackList && is_name(host)) answer(host);
    return words;
}

// Questions in TLS cannot be led elsewhere: clients that are refused ask in the open. The resolvers
// have the LAN's addresses, at which they could be reached from elsewhere, too.
void render(const RulesByIndex& rules, std::span<const uint8_t> serving, enforce::RuleText& text) {
    if (serving.empty()) return;
    constexpr auto* kLan = enforce::kLanBridge;
    constexpr char kBoth[] = "meta l4proto { tcp, udp } th dport";
    text.rule(kForward, "iifname \"%s\" oifname != \"%s\" jump %s", kLan, kLan, kEncrypted.name);
    text.rule(kInput, "iifname \"%s\" jump %s", kLan, kEncrypted.name);
    for (const auto index : serving) {
        const auto& rule = rules.at(index);
        const auto client = of_client(rule);
        const auto port = port_of(index);
        text.rule(kRedirect, "iifname \"%s\" %s%s 53 counter redirect to :%u comment \"dns %u\"",
                  kLan, client.c_str(), kBoth, port, index);
        text.rule(kEncrypted, "%s%s 853 %s comment \"dns %u\"", client.c_str(), kBoth,
                  rule.item.action == kOnlyLog ? "accept" : "counter reject", index);
        text.rule(kInput, "iifname != { \"lo\", \"%s\" } ct direction original %s %u drop", kLan,
                  kBoth, port);
    }
}

}  // namespace platform::platformd::dns_filter
