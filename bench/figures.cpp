#include "figures.h"

#include <cstdio>
#include <utility>

#include "qos_figures.h"

namespace {

using Calls = std::vector<BusCall>;

std::string with(const char* name, int value) {
    return "{\"" + std::string(name) + "\":" + std::to_string(value) + "}";
}

/// `count` calls, each with its number from `first`.
template <class Make>
Calls repeat(int first, int count, Make make) {
    Calls calls;
    for (int i = first; i < first + count; ++i)
        calls.push_back(make(i));
    return calls;
}

constexpr int kQuietMs = 200;

constexpr char kIpFilter[] = "app_ipfilter";

std::string ip_filter_rule(const std::string& first, int number) {
    return "{" + first + R"("ucIPFilterDir":1,"ucIPFilterProtocol":1,"aucLanIPStart":"192.168.1.)" +
           std::to_string(number) +
           R"(","aucLanIPEnd":"192.168.1.254","aucWanIPStart":"203.0.113.1","aucWanIPEnd":)"
           R"("203.0.113.254","ulLanPortStart":1,"ulLanPortEnd":65535,"ulWanPortStart":80,)"
           R"("ulWanPortEnd":443})";
}

BusCall ip_filter_add(int number) {
    return {kIpFilter, "ip_filter_list_add", ip_filter_rule("", number)};
}

BusCall ip_filter_del(int index) {
    return {kIpFilter, "ip_filter_list_del", with("ucIndex", index)};
}

/// Rules that stand while the figure is taken, with filtering on.
Figure on_ip_filter(std::string name, int rules, Figure figure) {
    figure.name = std::move(name);
    figure.set_up = repeat(1, rules, ip_filter_add);
    figure.set_up.push_back(ip_filter_mode(1));
    figure.tear_down = repeat(1, rules, ip_filter_del);
    figure.tear_down.insert(figure.tear_down.begin(), ip_filter_mode(0));
    figure.package = kIpFilter;
    figure.replacements = 1;
    return figure;
}

Figure ip_filter_add_at(int rules) {
    return on_ip_filter("ip_filter_list_add at " + std::to_string(rules), rules,
                        {.timed = ip_filter_add(rules + 1),
                         .after_each = {ip_filter_del(rules + 1)},
                         // the rule, flush, attributes, every rule again
                         .platform_calls = 3 + rules + 1});
}

/// The figure counts until the rules are in force. After any other change it waits for its end.
Figure until_in_force(int rules, int pause_ms, Figure figure) {
    figure.name += ", in force";
    figure.rules = rules;
    figure.pause_ms = pause_ms;
    figure.quiet_ms = kQuietMs;
    figure.rounds = 31;
    return figure;
}

Figure ip_filter_switch_at_100(std::string name, int pause_ms, BusCall before) {
    return until_in_force(100, pause_ms,
                          on_ip_filter(std::move(name), 100,
                                       {.before_each = {std::move(before)},
                                        .timed = ip_filter_mode(1),
                                        .platform_calls = 3 + 100}));
}

BusCall dns_filter_switch(int enable) {
    return {"app_dnsfilter", "dns_filter_basic_set", with("ucDnsFilterEnable", enable)};
}

BusCall dns_filter_add(int number) {
    return {"app_dnsfilter", "dns_filter_list_add",
            R"({"aucFilterDomain":"host)" + std::to_string(number) + R"(.example"})"};
}

Figure dns_filter_add_at(int rows) {
    Figure figure{
        .name = "dns_filter_list_add at " + std::to_string(rows),
        .set_up = repeat(1, rows, dns_filter_add),
        .timed = dns_filter_add(rows + 1),
        .after_each = {{"app_dnsfilter", "dns_filter_list_del", with("ulIndex", rows + 1)}},
        .tear_down = {dns_filter_switch(0)},
        .package = "app_dnsfilter",
        .replacements = 1,
        .platform_calls = 1};
    figure.set_up.insert(figure.set_up.begin(), dns_filter_switch(1));
    return figure;
}

std::string url(int number) {
    return R"("enable":1,"protocol_mask":3,"aucFilterUrl":"http://www.example/)" +
           std::to_string(number) + "\"}";
}

BusCall url_filter_add(int number) {
    return {"app_urlfilter", "url_filter_list_add", "{" + url(number)};
}

BusCall url_filter_set(int number) {
    return {"app_urlfilter", "url_filter_list_set", R"({"ulIndex":50,)" + url(number)};
}

BusCall url_filter_del(int index) {
    return {"app_urlfilter", "url_filter_list_del", with("ulIndex", index)};
}

BusCall mac_filter_mode(int mode) {
    return {"app_macfilter", "mac_filter_basic_set",
            R"({"ucMacFilterEnable":1,"ucFilterMode":)" + std::to_string(mode) + "}"};
}

BusCall mac_filter_add(int number) {
    char mac[18];
    std::snprintf(mac, sizeof(mac), "02:00:00:00:00:%02X", number);
    return {"app_macfilter", "mac_filter_list_add",
            R"({"ulEnable":1,"aucFilterMAC":")" + std::string(mac) + "\"}"};
}

BusCall bond(const char* first, const char* second) {
    return {"app_uplink", "link_aggregation_set",
            R"({"slaves":[")" + std::string(first) + "\",\"" + second +
                R"("],"bonding_policy":"802.3ad"})"};
}

BusCall detection(const char* action) {
    return {"rc", "init", R"({"name":"auto_wan","action":")" + std::string(action) + "\"}"};
}

}  // namespace

std::vector<BusCall> ip_filter_rules(int count) {
    return repeat(1, count, ip_filter_add);
}

BusCall ip_filter_mode(int enable) {
    return {kIpFilter, "ip_filter_basic_set",
            "{\"ucIPFilterEnable\":" + std::to_string(enable) +
                ",\"ucIPFilterUpMode\":0,\"ucIPFilterDownMode\":0}"};
}

std::vector<Figure> figures() {
    std::vector<Figure> all = {
        {.name = "empty ubus method", .timed = {"bench", "empty", "{}"}},
        on_ip_filter(
            "ip_filter_basic_set", 0,
            {.before_each = {ip_filter_mode(0)}, .timed = ip_filter_mode(1), .platform_calls = 3}),
        on_ip_filter("ip_filter_basic_set after quiet", 0,
                     {.before_each = {ip_filter_mode(0)},
                      .timed = ip_filter_mode(1),
                      .quiet_ms = kQuietMs,
                      .platform_calls = 3,
                      .rounds = 51}),
        on_ip_filter("the same change by uci, after quiet", 0,
                     {.before_each = {ip_filter_mode(0)},
                      .batch = "set app_ipfilter.@IGD_SECUR_IP_FILTER_ATTR_TAB[0]."
                               "ucIPFilterEnable=1\ncommit app_ipfilter\n",
                      .quiet_ms = kQuietMs,
                      .rounds = 51}),
        ip_filter_add_at(0),
        ip_filter_add_at(99),
        until_in_force(1, 10, ip_filter_add_at(0)),
        until_in_force(100, 10, ip_filter_add_at(99)),
        ip_filter_switch_at_100("100 rules switched on", 10, ip_filter_mode(0)),
        ip_filter_switch_at_100(
            "100 rules replaced", 50,
            {kIpFilter, "ip_filter_basic_set",
             R"({"ucIPFilterEnable":1,"ucIPFilterUpMode":1,"ucIPFilterDownMode":0})"}),
        on_ip_filter(
            "ip_filter_list_set at 100", 100,
            {.before_each = {{kIpFilter, "ip_filter_list_set",
                              ip_filter_rule("\"ucIndex\":50,", 50)}},
             .timed = {kIpFilter, "ip_filter_list_set", ip_filter_rule("\"ucIndex\":50,", 51)},
             .platform_calls = 2}),
        on_ip_filter("ip_filter_list_del at 100", 99,
                     {.before_each = {ip_filter_add(100)},
                      .timed = ip_filter_del(100),
                      .platform_calls = 3 + 99}),
        dns_filter_add_at(0),
        dns_filter_add_at(99),
        {.name = "url_filter_list_set at 100",
         .set_up = repeat(1, 100, url_filter_add),
         .before_each = {url_filter_set(50)},
         .timed = url_filter_set(500),
         .tear_down = repeat(1, 100, url_filter_del),
         .package = "app_urlfilter",
         .replacements = 1},
        {.name = "mac_filter_basic_set at 100",
         .set_up = {mac_filter_mode(0)},
         .before_each = repeat(1, 100, mac_filter_add),
         .timed = mac_filter_mode(1),
         .after_each = {mac_filter_mode(0)},
         .package = "app_macfilter",
         // every rule switched off with the attributes, every rule deleted
         .replacements = 2,
         .platform_calls = 101,
         .rounds = 5},
        {.name = "loopback_detection_start",
         .timed = {"app_netapp", "loopback_detection_start",
                   R"({"ucLoopbackEnable":1,"ucPkgPerSec":1,"ucLoopExistPeriod":1,)"
                   R"("ucLoopCancelPeriod":1,"aucVlanTag":"","aucLoopEthType":""})"},
         .platform_calls = 21},
        {.name = "link_aggregation_get", .timed = {"app_uplink", "link_aggregation_get"}},
        {.name = "link_aggregation_set",
         .before_each = {bond("eth0", "eth1")},
         .timed = bond("eth2", "eth3"),
         .tear_down = {{"app_uplink", "link_aggregation_del"}},
         .package = "network",
         .replacements = 1,
         .bus_calls = {detection("disable"), detection("stop")},
         .rounds = 11},
    };
    for (Figure& figure : qos_figures())
        all.push_back(std::move(figure));
    return all;
}
