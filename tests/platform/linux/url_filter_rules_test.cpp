#include <gtest/gtest.h>

#include "platform/linux/inspect/lists.h"
#include "platform/linux/services/url_filter_rules.h"

using namespace platform;
using namespace platform::platformd::url_filter;

namespace {

st_url_address address(const char* url, uint32_t protocols, const char* mac = "",
                       uint32_t enabled = 1) {
    st_url_address record{enabled, protocols, {}, {}, {}};
    strncpy(record.url_name, url, sizeof(record.url_name));
    strncpy(record.host_mac, mac, sizeof(record.host_mac));
    return record;
}

/// The rules, with the chains' names alone in front.
std::string rules(const UrlFilter& filter, bool queues_itself = false) {
    platformd::enforce::RuleText text;
    render(filter, queues_itself, text);
    std::string rules = text.text();
    for (size_t at; (at = rules.find("add rule inet appcfg url_")) != rules.npos;)
        rules.erase(at, sizeof("add rule inet appcfg url_") - 1);
    return rules;
}

/// What of them picks packets out.
std::string picked(const UrlFilter& filter) {
    const auto all = rules(filter);
    std::string picked;
    for (size_t begin = 0, end; (end = all.find('\n', begin)) != all.npos; begin = end + 1) {
        const auto line = all.substr(begin, end - begin);
        if (line.find("dport") != line.npos) picked += line.substr(0, line.find(" counter")) + '\n';
    }
    return picked;
}

constexpr char kPayload4[] =
    "ip length . tcp doff { 41-65535 . 5, 45-65535 . 6, 49-65535 . 7, 53-65535 . 8, 57-65535 . 9, "
    "61-65535 . 10, 65-65535 . 11, 69-65535 . 12, 73-65535 . 13, 77-65535 . 14, 81-65535 . 15 }";

TEST(UrlFilterRulesTest, ClientsPacketsWithContentAreQueuedAndTheVerdictIsRemembered) {
    const UrlFilter filter{{1, kUrlFilterBlackList}, {address("bad.example", 1)}};
    const auto text = rules(filter, true);
    EXPECT_NE(text.npos, text.find(std::string("content ") + kPayload4 +
                                   " meta mark set meta mark & 0xfcffffff | 0x3000000\n"));
    const char kQueueing[] =
        "content meta mark & 0x3000000 == 0x3000000 queue flags bypass to 61\n";
    EXPECT_NE(text.npos, text.find(kQueueing));
    EXPECT_EQ(text.npos, rules(filter).find(" queue "));
    const std::string up = "iifname \"br-lan\" oifname != \"br-lan\" ";
    EXPECT_EQ(
        "post meta mark & 0x3000000 == 0 return\n"
        "post meta mark & 0x3000000 == 0x1000000 " +
            up +
            "ct mark set ct mark & 0xfcffffff | 0x1000000\n"
            "post meta mark & 0x3000000 == 0x2000000 " +
            up +
            "ct mark set ct mark & 0xfcffffff | 0x2000000 counter reject with tcp reset "
            "comment \"URL filter\"\n"
            "post " +
            up + "meta mark set meta mark & 0xfcffffff | 0\n",
        text.substr(text.find("post")));
}

TEST(UrlFilterRulesTest, OnlyWhatTheListIsAboutIsLookedAt) {
    const auto quic = [](const std::string& whose) { return "judge " + whose + "udp dport 443\n"; };
    const auto https = [](const std::string& whose) {
        return "judge " + whose + "tcp dport 443 goto url_content\n";
    };
    const std::string http = "judge tcp dport 80 goto url_content\n";
    const auto of = [](uint32_t type, std::vector<st_url_address> addresses) {
        return picked({{1, type}, std::move(addresses)});
    };
    EXPECT_EQ(quic("") + https("") + http, of(0, {address("a.example", 3)}));
    EXPECT_EQ(http, of(0, {address("a.example/path", 3)}));
    EXPECT_EQ(quic("") + https("") + http, of(1, {address("a.example/path", 3)}));
    const std::string two = "ether saddr { 02:00:00:00:00:0a, 02:00:00:00:00:0b } ";
    EXPECT_EQ(quic(two) + https(two) + http,
              of(0, {address("a.example", 2, "02-00-00-00-00-0B"), address("b.example", 1),
                     address("c.example", 2, "02:00:00:00:00:0a"),
                     address("d.example", 2, "02:00:00:00:00:0a")}));
    EXPECT_EQ("", of(0, {address("a.example", 3, "", 0), address("a b", 3), address("a.example", 4),
                         address("a.example", 3, "nobody")}));
    EXPECT_EQ("", rules({{0, kUrlFilterBlackList}, {address("a.example", 3)}}));
}

TEST(UrlFilterRulesTest, TheInspectorTakesWhatItIsTold) {
    const UrlFilter filter{
        {1, kUrlFilterWhiteList},
        {address("b d", 3), address("a.example", 3), address("off.example", 3, "", 0)}};
    const auto message = list_message(filter);
    inspect::Lists lists;
    EXPECT_TRUE(lists.take({reinterpret_cast<const uint8_t*>(message.data()), message.size()}));
    EXPECT_TRUE(lists.stops({inspect::kHttp, {}, "off.example", "/"}));
    EXPECT_FALSE(lists.stops({inspect::kHttp, {}, "a.example", "/"}));
    EXPECT_EQ("", list_message({{1, kUrlFilterWhiteList}, {address("", 3)}}));
}

}  // namespace
