#include "platform/linux/services/dns_filter_rules.h"

#include <gtest/gtest.h>

using namespace platform::platformd::dns_filter;
using platform::platformd::enforce::RuleText;

namespace {

Rule rule(uint8_t mode, uint8_t action, const char* mac = "", const char* time = "") {
    Rule made{{.action = action, .enable = 1, .mode = mode},
              {"ads.example", "x/192.0.2.1", "b_d-1."}};
    strncpy(made.item.auc_mac, mac, sizeof(made.item.auc_mac));
    strncpy(made.item.auc_time, time, sizeof(made.item.auc_time));
    return made;
}

/// A moment of the week that begins with Sunday, day 0.
tm moment(int day, int hour, int minute) {
    tm made{};
    made.tm_wday = day;
    made.tm_hour = hour;
    made.tm_min = minute;
    return made;
}

std::string words(const Rule& of) {
    std::string text;
    const std::string gateway[] = {"192.168.1.1", "fd00::1"};
    for (const auto& word : resolver_words(7, of, "/run/dns_7", "", gateway))
        text += ' ' + word;
    return text.substr(std::min(text.find(" --group="), text.size()));
}

TEST(DnsFilterRulesTest, ARuleHasItsDaysAndHours) {
    constexpr char kNights[] = "1,7;22:00-06:30,12:00-13:00";
    EXPECT_TRUE(is_time(kNights, moment(1, 12, 0)));
    EXPECT_FALSE(is_time(kNights, moment(1, 13, 0)));
    EXPECT_FALSE(is_time(kNights, moment(2, 12, 0)));
    EXPECT_TRUE(is_time(kNights, moment(0, 22, 0)));
    EXPECT_TRUE(is_time(kNights, moment(1, 6, 29)));
    EXPECT_FALSE(is_time(kNights, moment(1, 6, 30)));
    EXPECT_TRUE(is_time(kNights, moment(2, 0, 0)));
    EXPECT_FALSE(is_time(kNights, moment(0, 0, 0)));
    EXPECT_TRUE(is_time("6;00:00-24:00", moment(6, 23, 59)));
    EXPECT_TRUE(is_time("6;08:00-08:00", moment(0, 7, 59)));
}

TEST(DnsFilterRulesTest, NoTimeOrOneThatCannotBeReadIsAlways) {
    for (const char* readable : {"", ";", "1,2,3,4,5,6,7;"}) {
        EXPECT_TRUE(is_time(readable, moment(3, 4, 5))) << readable;
        EXPECT_TRUE(is_time_readable(readable)) << readable;
    }
    for (const char* strange :
         {"0;", "8", "a", ",", ";8", ";24:01-01:00", ";1:60-2:00", ";,", ";1:00"}) {
        EXPECT_TRUE(is_time(strange, moment(3, 4, 5))) << strange;
        EXPECT_FALSE(is_time_readable(strange)) << strange;
    }
    EXPECT_FALSE(is_time("1;nonsense", moment(3, 4, 5)));
}

TEST(DnsFilterRulesTest, OnlyNamesGetIntoTheFile) {
    EXPECT_TRUE(is_name("a"));
    EXPECT_TRUE(is_name(std::string(63, 'a') + ".example"));
    for (const auto& strange :
         {"", ".", "a..b", ".a", "a/b", "#", "*.a", "a b", "a\r", "\xc3\xa4.example"})
        EXPECT_FALSE(is_name(strange)) << strange;
    EXPECT_FALSE(is_name(std::string(64, 'a') + ".example"));
    EXPECT_EQ("server=127.0.0.1#53\nserver=/ads.example/\nserver=/b_d-1./\n",
              servers_text(rule(0, 0)));
    EXPECT_EQ("server=/ads.example/127.0.0.1#53\nserver=/b_d-1./127.0.0.1#53\n",
              servers_text(rule(1, 1)));
    EXPECT_EQ("server=127.0.0.1#53\n", servers_text(rule(1, 2)));
}

TEST(DnsFilterRulesTest, AnAddressInsteadOfTheNamesOwnIsSaidWhenTheResolverStarts) {
    EXPECT_EQ(" --group=", words(rule(0, 0)));
    EXPECT_EQ(
        " --group= --address=/ads.example/192.168.1.1 --address=/ads.example/fd00::1"
        " --address=/b_d-1./192.168.1.1 --address=/b_d-1./fd00::1",
        words(rule(0, 1)));
    EXPECT_EQ(" --group= --address=/#/192.168.1.1 --address=/#/fd00::1", words(rule(1, 1)));
    EXPECT_EQ(" --group= --log-queries", words(rule(0, 2)));
}

TEST(DnsFilterRulesTest, AClientHasOneRuleTheOneOfItsAddressFirst) {
    RulesByIndex rules{{1, rule(0, 0)},
                       {2, rule(0, 0)},
                       {3, rule(0, 0, "02:00:00:00:00:0A", "7;")},
                       {4, rule(0, 2, "02-00-00-00-00-0a")},
                       {5, rule(0, 0, "02:00:00:00:00:0B")}};
    rules[5].hosts = {"x/y"};
    EXPECT_EQ((std::vector<uint8_t>{3, 1}), answering(rules, moment(0, 0, 0)));
    const auto serving = answering(rules, moment(1, 0, 0));
    EXPECT_EQ((std::vector<uint8_t>{4, 1}), serving);
    EXPECT_EQ(3, earlier_rule(rules, 4));
    EXPECT_EQ(-1, earlier_rule(rules, 5));

    RuleText text;
    render(rules, serving, text);
    const std::string input =
        "add rule inet appcfg dns_input iifname != { \"lo\", \"br-lan\" } ct direction "
        "original meta l4proto { tcp, udp } th dport ";
    EXPECT_EQ(
        "add rule inet appcfg dns_forward iifname \"br-lan\" oifname != \"br-lan\" jump "
        "dns_encrypted\n"
        "add rule inet appcfg dns_input iifname \"br-lan\" jump dns_encrypted\n"
        "add rule inet appcfg dns_redirect iifname \"br-lan\" ether saddr 02:00:00:00:00:0a meta "
        "l4proto "
        "{ tcp, udp } th dport 53 counter redirect to :30534 comment \"dns 4\"\n"
        "add rule inet appcfg dns_encrypted ether saddr 02:00:00:00:00:0a meta l4proto { tcp, udp "
        "} "
        "th dport 853 accept comment \"dns 4\"\n" +
            input +
            "30534 drop\n"
            "add rule inet appcfg dns_redirect iifname \"br-lan\" meta l4proto { tcp, udp } th "
            "dport 53 "
            "counter redirect to :30531 comment \"dns 1\"\n"
            "add rule inet appcfg dns_encrypted meta l4proto { tcp, udp } th dport 853 counter "
            "reject "
            "comment \"dns 1\"\n" +
            input + "30531 drop\n",
        text.text());
}

TEST(DnsFilterRulesTest, OnlyFieldsThatAreSetAreJudged) {
    EXPECT_FALSE(makes_sense(rule(0, 0, "02:00:00:00:00:0G").item, platform::kDnsFilterSetMac));
    EXPECT_TRUE(makes_sense(rule(2, 3, "02:00:00:00:00:0G").item, platform::kDnsFilterSetHosts));
    EXPECT_FALSE(makes_sense(rule(2, 0).item, platform::kDnsFilterSetMode));
    EXPECT_FALSE(makes_sense(rule(0, 3).item, platform::kDnsFilterSetAction));
}

}  // namespace
