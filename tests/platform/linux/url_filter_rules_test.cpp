#include <gtest/gtest.h>

#include <sstream>

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

std::string rules(const UrlFilter& filter, bool queues_itself = false) {
    platformd::enforce::RuleText text;
    render(filter, queues_itself, text);
    return text.text();
}

/// What of them picks packets out, without the chain's name in front.
std::string picked(const UrlFilter& filter) {
    std::istringstream all(rules(filter));
    std::string picked;
    for (std::string line; std::getline(all, line);)
        if (line.find("dport") != line.npos)
            picked +=
                line.substr(line.find("judge"), line.find(" counter") - line.find("judge")) + '\n';
    return picked;
}

constexpr char kPayload4[] =
    "ip length . tcp doff { 41-65535 . 5, 45-65535 . 6, 49-65535 . 7, 53-65535 . 8, 57-65535 . 9, "
    "61-65535 . 10, 65-65535 . 11, 69-65535 . 12, 73-65535 . 13, 77-65535 . 14, 81-65535 . 15 }";

TEST(UrlFilterRulesTest, ClientsPacketsWithContentAreQueued) {
    const UrlFilter filter{{1, kUrlFilterBlackList}, {address("bad.example", 1)}};
    const auto text = rules(filter, true);
    EXPECT_NE(text.npos, text.find(std::string("content ") + kPayload4 +
                                   " meta mark set meta mark & 0xfcffffff | 0x3000000\n"));
    EXPECT_NE(text.npos, text.find(" == 0x3000000 queue flags bypass to 61\n"));
    EXPECT_EQ(text.npos, rules(filter).find(" queue "));
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

}  // namespace
