#include <gtest/gtest.h>
#include <netinet/in.h>

#include "platform/linux/services/ip_filter_rules.h"
#include "platform/linux/services/mac_filter_rules.h"
#include "platform/linux/services/port_flow_rules.h"

using namespace platform;
using namespace platform::platformd;
using enforce::RuleText;

namespace {

st_filter_list rule(uint32_t type, const char* wan, const char* wan_end, const char* lan,
                    const char* lan_end, std::array<uint32_t, 4> ports = {}) {
    st_filter_list record{type, kIpFilterUp, ports[0], ports[1], ports[2], ports[3]};
    const auto put = [](char(&member)[40], const char* text) { strncpy(member, text, 40); };
    put(record.ac_dst_sip, wan);
    put(record.ac_dst_eip, wan_end);
    put(record.ac_src_sip, lan);
    put(record.ac_src_eip, lan_end);
    return record;
}

/// What the rule stops when it is the only one, "refused" if it makes no sense.
std::string stops(st_filter_list record, uint32_t direction = kIpFilterUp) {
    if (!ip_filter::makes_sense(record)) return "refused";
    record.em_dir = direction;
    ip_filter::IpFilter filter{};
    auto& chain = direction == kIpFilterUp ? filter.up : filter.down;
    chain = {1, kIpFilterBlackList, {record}};
    RuleText text;
    render(filter, text);
    const std::string lines = text.text(), place = direction == kIpFilterUp ? "up " : "down ";
    const auto begin = lines.rfind(place, lines.rfind("counter")) + place.size();
    return lines.substr(begin, lines.rfind(" counter") + 1 - begin);
}

const char kLongest[] = "0123456789012345678901234567890123456789";

TEST(RulesTest, AnIpFilterRuleMeansWhatItsRecordSays) {
    EXPECT_EQ(" ", ' ' + stops(rule(0, "", "", "", "")));
    EXPECT_EQ("ip saddr 10.0.0.1 ip daddr 192.0.2.1-192.0.2.9 meta l4proto tcp ",
              stops(rule(1, "192.0.2.9", "192.0.2.1", "10.0.0.1", "")));
    EXPECT_EQ("ip6 daddr 2001:db8::1 meta l4proto { tcp, udp } th sport 5-9 th dport 80 ",
              stops(rule(0, "2001:0DB8::0001", "2001:db8::1", " ", "10.0.0.1", {80, 0, 9, 5})));
    EXPECT_EQ("ip saddr 192.0.2.1 ip daddr 10.0.0.1 meta l4proto udp th sport 53 ",
              stops(rule(17, "192.0.2.1", "", "10.0.0.1", "", {53, 53, 0, 65535}), kIpFilterDown));
    EXPECT_EQ("meta l4proto { icmp, ipv6-icmp } ", stops(rule(4, "", "", "", "", {1, 2, 3, 4})));
    EXPECT_EQ("th dport 0-9 ", stops(rule(3, "", "", "", "", {0, 9})).substr(26));
}

TEST(RulesTest, WhatMakesNoSenseIsNoIpFilterRule) {
    EXPECT_EQ("refused", stops(rule(5, "", "", "", "")));
    EXPECT_EQ("refused", stops(rule(1, "192.0.2.1", "2001:db8::1", "", "")));
    EXPECT_EQ("refused", stops(rule(1, "192.0.2.1", "", "2001:db8::1", "")));
    EXPECT_EQ("refused", stops(rule(1, "192.0.2.1 } accept; flush ruleset", "", "", "")));
    EXPECT_EQ("refused", stops(rule(1, kLongest, "", "", "")));
    EXPECT_EQ("refused", stops(rule(1, "", "", "", "", {1, 65536})));
}

TEST(RulesTest, AWhiteListKeepsOthersOutOnlyWhenItNamesSomebody) {
    const auto white = [](std::vector<st_filter_list> rules) {
        RuleText text;
        render(ip_filter::IpFilter{.up = {1, kIpFilterWhiteList, std::move(rules)}, .down = {}},
               text);
        return text.text();
    };
    EXPECT_EQ("", white({}));
    EXPECT_TRUE(white({rule(0, "", "", "10.0.0.1", "")})
                    .ends_with("ip saddr 10.0.0.1 accept comment \"up 1\"\n"
                               "add rule inet appcfg ip_filter_up counter drop comment "
                               "\"up, not listed\"\n"));
    EXPECT_TRUE(mac_filter::makes_sense({"02:00:00:00:00:0A", {}, kMacKindHost}));
    EXPECT_FALSE(mac_filter::makes_sense({"02:00:00:00:00:0G", {}, kMacKindHost}));
    EXPECT_FALSE(mac_filter::makes_sense({"02:00:00:00:00:0A", {}, 3}));
}

/// From 10.0.0.1:1000 in the LAN to 192.0.2.5:80.
constexpr enforce::Connection kWeb{
    AF_INET, IPPROTO_TCP, {{10, 0, 0, 1}, 1000}, {{192, 0, 2, 5}, 80}};

TEST(RulesTest, RunningConnectionsAreStoppedWhereTheirPacketsWouldBe) {
    const auto stopped = [](uint32_t type, st_filter_list record, bool from_lan = true,
                            bool down = false) {
        const ip_filter::Chain chain{1, type, {record}}, none{};
        return stops(ip_filter::IpFilter{down ? none : chain, down ? chain : none}, kWeb, from_lan);
    };
    const auto black = kIpFilterBlackList, white = kIpFilterWhiteList;
    for (const auto& hit :
         {rule(0, "", "", "", ""), rule(1, "192.0.2.6", "192.0.2.5", "10.0.0.1", ""),
          rule(3, "", "", "", "", {80, 90, 1000, 0}), rule(6, "", "", "", "")}) {
        EXPECT_TRUE(stopped(black, hit));
        EXPECT_TRUE(stopped(black, hit, true, true));
        EXPECT_FALSE(stopped(white, hit));
    }
    for (const auto& miss :
         {rule(2, "", "", "", ""), rule(1, "192.0.2.6", "192.0.2.9", "", ""),
          rule(0, "", "", "10.0.0.2", ""), rule(0, "", "", "", "", {81, 90}),
          rule(0, "", "", "", "", {0, 0, 1001, 1002}), rule(0, "::", "ffff::", "", "")}) {
        EXPECT_FALSE(stopped(black, miss));
        EXPECT_TRUE(stopped(white, miss));
        EXPECT_FALSE(stopped(white, miss, true, true));
        EXPECT_TRUE(stopped(white, miss, false, true));
    }
    EXPECT_FALSE(stopped(black, rule(0, "192.0.2.5", "", "", ""), false));
}

TEST(RulesTest, RatesAndPrioritiesAreWrittenAsTheKernelReadsThem) {
    RuleText text;
    port_flow::render({.destination = {}, .source = {{22, {22, 0, 0x1F0007}}}, .cpu_rate = 9},
                      text);
    EXPECT_EQ(
        "add rule inet appcfg cpu_in iifname \"lo\" accept\n"
        "add rule inet appcfg cpu_in limit rate over 9/second burst 1 packets counter drop "
        "comment \"other\"\n"
        "add rule inet appcfg mgmt_out meta l4proto { tcp, udp } meta priority set th sport map "
        "{ 22 : 1f:7 }\n",
        text.text());
}

}  // namespace
