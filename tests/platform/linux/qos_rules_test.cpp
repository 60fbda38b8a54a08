#include <gtest/gtest.h>

#include <sstream>

#include "platform/linux/services/qos_limits.h"
#include "platform/linux/services/qos_match.h"
#include "platform/linux/services/qos_rules.h"
#include "platform/linux/services/qos_shape.h"

using namespace platform;
using namespace platform::platformd;
using namespace platform::platformd::qos;

namespace {

constexpr Devices kDevices{[](uint32_t number) { return "eth" + std::to_string(number); },
                           [](uint32_t) { return std::string("no device\" accept"); },
                           [](const std::string& name) { return name.starts_with("wan"); }};

zu_sal_qos_flow_queue_s flow(uint32_t type, uint32_t min, uint32_t max, uint32_t protocols = 0) {
    zu_sal_qos_flow_queue_s record{};
    record.ui_queue = 2;
    auto& wanted = record.st_flow_class[0];
    wanted.em_type = type;
    wanted.ui_min = min;
    wanted.ui_max = max;
    wanted.ui_proto_list = protocols;
    return record;
}

zu_sal_qos_flow_queue_s flow(uint32_t type, const char* min, const char* max) {
    auto record = flow(type, 0U, 0U, 0U);
    strncpy(record.st_flow_class[0].uc_min, min, sizeof(record.st_flow_class[0].uc_min));
    strncpy(record.st_flow_class[0].uc_max, max, sizeof(record.st_flow_class[0].uc_max));
    return record;
}

std::string all_of(const Matches& matches) {
    std::string text;
    for (const auto& match : matches)
        text += (match.in_frame ? "frame " : "") + match.text + '|';
    return text;
}

template <class... Words>
std::string wanted(Words... words) {
    return all_of(matches_of(flow(words...), kDevices));
}

TEST(QosRulesTest, AClassificationMeansWhatItsRecordSays) {
    EXPECT_EQ("frame ether saddr 02:00:00:00:00:0a |", wanted(1, "02:00:00:00:00:0A", ""));
    EXPECT_EQ("frame ether daddr 02:00:00:00:00:0a |", wanted(2, "0", "02-00-00-00-00-0a"));
    EXPECT_EQ("ip saddr 10.0.0.1-10.0.0.9 |", wanted(3, "10.0.0.9", "10.0.0.1"));
    EXPECT_EQ("ip6 daddr 2001:db8::1 |", wanted(6, "", "2001:0DB8::1"));
    EXPECT_EQ("meta l4proto { tcp, udp } th sport 5-9 |", wanted(7, 9, 5));
    EXPECT_EQ("meta l4proto { udp } th dport 53 |", wanted(8, 53, 0U, kUdp | kIcmp));
    EXPECT_EQ("meta l4proto { tcp } |", wanted(8, 0U, 65535, kTcp));
    EXPECT_EQ("frame vlan pcp 5 |", wanted(9, 0U, 5));
    EXPECT_EQ("meta nfproto ipv4 @nh,8,8 0-16 |", wanted(10, 0U, 16));
    EXPECT_EQ("ip dscp 0 |ip6 dscp 0 |", wanted(11, 0U, 0U));
    EXPECT_EQ("frame meta l4proto { icmp, ipv6-icmp } iifname \"eth2\" |", wanted(13, 3, 3, kIcmp));
    EXPECT_EQ("frame vlan id 4095 |", wanted(14, 4095, 0U));
    EXPECT_EQ("meta nfproto ipv6 |", wanted(15, 0x86dd, 0x86dd));
    EXPECT_EQ("ip6 flowlabel 1048575 |", wanted(17, 0xfffff, 0U));
    EXPECT_EQ("meta nfproto ipv6 @nh,0,16 & 0xff0 == 0xb80 |", wanted(18, 0xb8, 0xb8));
    EXPECT_EQ("meta l4proto { tcp, udp, icmp, ipv6-icmp } |", wanted(19, 7, 9, 7));
}

TEST(QosRulesTest, WhatMakesNoSenseMatchesNothing) {
    for (const auto* mac : {"02:00:00:00:00:0", "02:00:00:00:00:0a accept"})
        EXPECT_EQ("", wanted(1, mac, ""));
    EXPECT_EQ("", wanted(1, "02:00:00:00:00:0a", "02:00:00:00:00:0b"));
    for (const auto* address : {"2001:db8::1", "10.0.0.1 } drop", ""})
        EXPECT_EQ("", wanted(3, address, address));
    constexpr uint32_t kNumbers[][4] = {
        {7, 1, 65536}, {8, 80, 80, kIcmp}, {9, 8, 8},     {10, 0, 256}, {11, 64, 64},
        {12, 1, 1},    {13, 0, 0},         {14, 4096, 0}, {15, 0x806},  {17, 0x100000},
        {18, 256},     {19, 0, 0, 8},      {99, 0, 0},
    };
    for (const auto& [type, min, max, protocols] : kNumbers)
        EXPECT_EQ("", wanted(type, min, max, protocols)) << type;
    EXPECT_EQ("", wanted(3, std::string(64, '1').c_str(), ""));
}

TEST(QosRulesTest, AnItemMeansAllThatItNames) {
    EXPECT_EQ("|", all_of(matches_of(zu_qos_item_attr_s{})));
    const zu_qos_item_attr_s whole{.protocol = "Tcp, UDP",
                                   .srcIp = "192.168.1.9",
                                   .srcMask = "255.255.0.255",
                                   .srcPort = "5-9",
                                   .dstIp = "10.0.0.1",
                                   .dstPort = "5060",
                                   .srcMac = "02-00-00-00-00-0A"};
    EXPECT_EQ(
        "frame ether saddr 02:00:00:00:00:0a ip saddr & 255.255.0.255 == 192.168.0.9 "
        "ip daddr 10.0.0.1 meta l4proto { tcp, udp } th sport 5-9 "
        "th dport 5060 |",
        all_of(matches_of(whole)));
    const auto meaning = [](auto member, const char* text, zu_qos_item_attr_s item = {}) {
        strncpy(item.*member, text, sizeof(item.*member));
        return all_of(matches_of(item));
    };
    using Item = zu_qos_item_attr_s;
    EXPECT_EQ("", meaning(&Item::protocol, "tcp; flush ruleset"));
    EXPECT_EQ("", meaning(&Item::srcMask, "255.0.0.0"));
    EXPECT_EQ("", meaning(&Item::dstIp, "2001:db8::1", {.srcIp = "10.0.0.1"}));
    EXPECT_EQ("", meaning(&Item::srcMask, "ffff::", {.srcIp = "10.0.0.1"}));
    for (const auto* ports : {"80x", "-80", "65536", "5-", "5060-50", "12345678"})
        EXPECT_EQ("", meaning(&Item::srcPort, ports));
    EXPECT_EQ("", meaning(&Item::dstPort, "80", {.protocol = "icmp"}));
    EXPECT_EQ("", meaning(&Item::dstMac, "02:00:00:00:0:0a"));
}

zu_sal_qos_queue_attr_s queue(uint32_t number, uint32_t plan, uint32_t weight, uint32_t priority,
                              uint32_t rate = 0, uint32_t enable = 1) {
    return {.ui_queue = number,
            .ui_enable = enable,
            .ui_weight = weight,
            .ui_priority = priority,
            .em_plan = plan,
            .ui_rate = rate};
}

/// "MINOR rate-ceil priority quantum", the class of the whole line left out.
std::string leaves(const Qos& qos, enforce::Place place = enforce::Place::Wan) {
    enforce::Trees trees;
    shape(qos, kDevices, trees);
    std::ostringstream text;
    for (const auto& leaf : trees[place].classes)
        if (leaf.parent == 0)
            text << leaf.rate << ":";
        else
            text << ' ' << leaf.minor << '=' << leaf.rate << '-' << leaf.ceil << ' '
                 << leaf.priority << ' ' << leaf.quantum << ';';
    return text.str();
}

Qos upstream_of(uint32_t bandwidth, std::initializer_list<zu_sal_qos_queue_attr_s> queues) {
    Qos qos{};
    qos.uplink.ui_enable = 1;
    qos.uplink.ui_band_width = bandwidth;
    std::ranges::copy(queues, qos.up().queues);
    return qos;
}

TEST(QosRulesTest, QueuesShareTheLineAsTheirPlanSays) {
    constexpr auto kByPriority = kPlanPriority, kByWeight = kPlanWeight;
    EXPECT_EQ(
        "20000: 3=8-20000 2 1600; 1=8-500 0 1600; 8=8-20000 7 1600;",
        leaves(upstream_of(20000, {queue(1, kByPriority, 7, 3), queue(2, kByPriority, 7, 1, 500),
                                   queue(3, kByPriority, 7, 4, 0, 0)})));
    EXPECT_EQ("100: 1=1-100 0 1600; 8=1-100 7 1600;",
              leaves(upstream_of(100, {queue(1, kByPriority, 7, 1), queue(2, kByPriority, 7, 1),
                                       queue(3, kByPriority, 7, 99)})))
        << "what has no place of its own is the rest";
    auto shared = upstream_of(
        4'000'000'000,
        {queue(1, kByWeight, 20, 1), queue(2, kByWeight, 3000, 2), queue(8, kByWeight, 980, 8)});
    EXPECT_EQ(
        "4000000000: 1=20000000-4000000000 0 1600; 2=3000000000-4000000000 0 64000; "
        "8=980000000-4000000000 0 64000;",
        leaves(shared));
    shared.uplink.ui_band_width = 100;
    shared.uplink.ui_force_weight_en = 1;
    shared.up().queues[1].ui_weight = 0;
    EXPECT_EQ("100: 1=2-2 0 1600; 2=1-1 0 1600; 8=98-98 0 64000;", leaves(shared));
}

TEST(QosRulesTest, ASmartProfileIsALimitOfTheWholeLine) {
    auto qos = upstream_of(20479, {});
    qos.up().smart.rate_limit = 39;
    EXPECT_EQ("20479: 8=8-20479 7 1600;", leaves(qos)) << "it is the bandwidth, rounded down";
    qos.up().smart.rate_limit = 10;
    EXPECT_TRUE(leaves(qos).starts_with("5120:"));
    qos.uplink.ui_band_width = 0;
    qos.up().smart.rate_limit = UINT32_MAX;
    EXPECT_TRUE(leaves(qos).starts_with("4294967295:"));
    qos.speeds = {{"wan0", {"", {700, 800}}}, {"wan1", {"", {0, 900}}}, {"eth0", {"", {1, 1}}}};
    EXPECT_TRUE(leaves(qos).starts_with("700:")) << "what the line can do";
    qos.uplink.ui_enable = 0;
    EXPECT_EQ("", leaves(qos));
    qos.down().smart.rate_limit = 2;
    EXPECT_EQ("1024: 8=8-1024 7 1600;", leaves(qos, enforce::Place::Lan));
    qos.downlink.ui_enable = 1;
    EXPECT_EQ("800: 8=8-800 7 1600;", leaves(qos, enforce::Place::Lan));
}

/// The rules without the words that all of them have, then what is left out.
std::string rendered(const Qos& qos) {
    enforce::RuleText rules;
    LeftOut left_out;
    render(qos, kDevices, rules, left_out);
    std::string text = rules.text();
    for (const char* word : {"add rule ", "inet ", "bridge ", "appcfg ", "counter ", "meta ",
                             "set ", " accept comment"})
        for (size_t at; (at = text.find(word)) != text.npos;)
            text.erase(at, strlen(word));
    for (const auto& line : left_out)
        text += line + '\n';
    return text;
}

TEST(QosRulesTest, WhatCannotBeDoneIsLeftOutAndSaid) {
    auto qos = upstream_of(1000, {queue(1, kPlanPriority, 7, 2), queue(2, kPlanPriority, 7, 1)});
    auto badly = flow(4, "10.0.0.1", "");
    badly.em_dscp_mark = badly.em_tc_mark = badly.em_8021p_mark = kMarkOn;
    badly.ui_dscp = 64;
    badly.ui_tc = 0x28;
    qos.up().flows.assign(17, flow(1, "02:00:00:00:00:0a", ""));
    qos.up().flows[0] = badly;
    qos.apps = {{"http", 1}, {"tetris", 1}};
    qos.uplink.em_mode[2] = kTrafficVoip;
    qos.voip = {{kVoipControl, 0, 0}, {{kVoipData, 0, 46}}};
    const auto text = rendered(qos);
    EXPECT_NE(text.npos, text.find("\nqos_up ip daddr 10.0.0.1 priority a003:2 \"upstream 1\"\n"));
    EXPECT_EQ(
        "qos_up mark & 0xf0000000 == 0xf0000000 priority a003:2 \"upstream 16\"\n"
        "qos_up l4proto { tcp } th dport { 80, 8080 } priority a003:2 \"application 1\"\n"
        "qos_up ip dscp { 46 } priority a003:8 \"traffic voip\"\n"
        "qos_up ip6 dscp { 46 } priority a003:8 \"traffic voip\"\n"
        "upstream 1: its mark is beyond 63\n"
        "upstream 1: 802.1p values are not written\n"
        "upstream 17: too many others go by MAC address, LAN port, VLAN or 802.1p, too\n"
        "application 2: what it is for cannot be told\n",
        text.substr(text.find("qos_up mark & 0xf0000000 == 0xf0000000")));
    qos = {};
    qos.downlink.ui_enable = 1;
    qos.down().flows = {flow(1, "02:00:00:00:00:0a", "")};
    EXPECT_EQ(
        "qos_dn oifname != \"br-lan\" accept\n"
        "downlink 1: it can be told for what comes from the LAN only\n",
        rendered(qos));
}

TEST(QosRulesTest, LimitsAreBoundToWhatIsThere) {
    Qos qos{};
    qos.limits = {.em_mode_up = kLimitPorts, .em_mode_down = kLimitAddresses};
    const st_qos_port_limit ports[] = {{1, 8, 0.5}, {1, 4, 0}, {1, kRadio24Port, 9}, {1, 3, 9}};
    std::ranges::copy(ports, qos.limits.st_port_up);
    qos.limits.st_ip_down[8] = {1, "", "10.0.0.1", {}, 1};
    qos.limits.st_ip_down[9] = {1, "fd00::9", "fd00::1", {}, 1e30};
    EXPECT_EQ(
        "flow_up iifname \"eth3\" priority a001:400 \"upstream limit 1\"\n"
        "flow_out mark mark & 0x00ffffff | 0x01000000\n"
        "flow_dn mark & 0x01000000 == 0 accept\n"
        "flow_dn ip6 daddr fd00::1-fd00::9 priority a002:409 \"downlink limit 10\"\n"
        "upstream limit 3: nothing here is what it is for\n"
        "upstream limit 4: nothing here is what it is for\n"
        "downlink limit 9: nothing here is what it is for\n",
        rendered(qos));
    enforce::Trees trees;
    shape_limits(qos.limits, kDevices, trees);
    EXPECT_EQ(1U, trees[enforce::Place::HostsUp].classes.at(0).ceil);
    EXPECT_EQ(UINT32_MAX, trees[enforce::Place::HostsDown].classes.at(0).ceil);
}

}  // namespace
