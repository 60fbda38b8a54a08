#include "security/ip_filter/ip_filter.h"

#include <cstring>

#include "support/module_test.h"
#include "support/recording_bus.h"

using namespace appcfg;

namespace {

using recording_platform::refuse;

constexpr char kSet[] = "zu_zu_sal_ipfilter_set_call";
constexpr char kRuleAdd[] = "zu_zu_sal_ipfilter_rule_add_call";
constexpr char kRuleDel[] = "zu_zu_sal_ipfilter_rule_del_call";
constexpr char kFlush[] = "zu_zu_sal_ipfilter_flush_chain_call";
constexpr char kRestart[] = "zu_zu_sal_ipfilter_restart_set_call";

struct IpFilterTest : ModuleTest {
    IpFilterTest() : ModuleTest(register_ip_filter_tables) {}

    static BusReply call(const std::string& method, const std::string& json) {
        return call_method(ip_filter_bus_object(), method, json);
    }
    static BusReply basic_set(int enable, int up, int down) {
        return call("ip_filter_basic_set", "{\"ucIPFilterEnable\":" + std::to_string(enable) +
                                               ",\"ucIPFilterUpMode\":" + std::to_string(up) +
                                               ",\"ucIPFilterDownMode\":" + std::to_string(down) +
                                               "}");
    }
    /// The ten arguments of a rule, behind `first`.
    static std::string rule(int direction, const std::string& lan_start = "10.0.0.1",
                            int protocol = 1, const std::string& first = "") {
        return "{" + first + "\"ucIPFilterDir\":" + std::to_string(direction) +
               ",\"ucIPFilterProtocol\":" + std::to_string(protocol) + ",\"aucLanIPStart\":\"" +
               lan_start +
               R"(","aucLanIPEnd":"10.0.0.9","aucWanIPStart":"2001:db8::1","aucWanIPEnd":"",)"
               R"("ulLanPortStart":1000,"ulLanPortEnd":2000,"ulWanPortStart":80,"ulWanPortEnd":443})";
    }
    static BusReply add(int direction, const std::string& lan_start = "10.0.0.1",
                        int protocol = 1) {
        return call("ip_filter_list_add", rule(direction, lan_start, protocol));
    }
    static BusReply set(int index, const std::string& lan_start) {
        return call("ip_filter_list_set",
                    rule(1, lan_start, 1, "\"ucIndex\":" + std::to_string(index) + ","));
    }
    static BusReply del(int index) {
        return call("ip_filter_list_del", "{\"ucIndex\":" + std::to_string(index) + "}");
    }
    static IgdSecurIpFilterListTab row(int32_t position) {
        IgdSecurIpFilterListTab row{};
        EXPECT_EQ(mib_chain_get(IGD_SECUR_IP_FILTER_LIST_TAB, position, &row), 1);
        return row;
    }
    static int32_t total() { return mib_chain_total(IGD_SECUR_IP_FILTER_LIST_TAB); }
};

TEST_F(IpFilterTest, RuleReachesThePlatformByteForByte) {
    ASSERT_EQ(add(1), success());
    const auto calls = recording_platform::take();
    ASSERT_EQ(calls.front().name, kRuleAdd);
    const auto& sent = calls.front();
    ASSERT_EQ(sent.record.size(), 184u);
    EXPECT_FALSE(sent.queued);
    constexpr uint32_t kWords[] = {1, 1, 80, 443, 1000, 2000};
    for (size_t i = 0; i < std::size(kWords); ++i)
        EXPECT_EQ(sent.word(4 * i), kWords[i]) << i;
    EXPECT_EQ(sent.text(24), "2001:db8::1");
    EXPECT_EQ(sent.text(64), "");
    EXPECT_EQ(sent.text(104), "10.0.0.1");
    EXPECT_EQ(sent.text(144), "10.0.0.9");
}

TEST_F(IpFilterTest, ModeRecordNamesTheSelectedDirections) {
    IgdSecurIpFilterAttrTab attr{};
    attr.ucDownFilterEnable = 1;
    attr.ucDownListType = 1;
    attr.ucUpListType = 200;  // not selected, so not looked at
    attr.ulBitmap = 8 | 16;
    ASSERT_EQ(igdCmSecureIPFilterAttrSet(&attr, sizeof(attr)), 0);
    const auto calls = recording_platform::take();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].name, kSet);
    constexpr uint32_t kWords[] = {0, 1, 2, 1, 0};
    ASSERT_EQ(calls[0].record.size(), sizeof(kWords));
    for (size_t i = 0; i < std::size(kWords); ++i)
        EXPECT_EQ(calls[0].word(4 * i), kWords[i]) << i;
    EXPECT_EQ(calls[1].name, kFlush);  // the stored enable is the upstream one, which is off
}

TEST_F(IpFilterTest, ChangeEndsInAFullReplayOnlyWhileFilteringIsOn) {
    ASSERT_EQ(add(1), success());
    EXPECT_EQ(calls(), (Names{kRuleAdd, kFlush}));
    ASSERT_EQ(basic_set(1, 0, 0), success());
    EXPECT_EQ(calls(), (Names{kSet, kFlush, kRestart, kRuleAdd}));
    ASSERT_EQ(add(0), success());
    EXPECT_EQ(calls(), (Names{kRuleAdd, kFlush, kRestart, kRuleAdd, kRuleAdd}));
    ASSERT_EQ(del(1), success());
    EXPECT_EQ(calls(), (Names{kRuleDel, kFlush, kRestart, kRuleAdd}));
    ASSERT_EQ(set(2, "10.0.0.2"), success());
    EXPECT_EQ(calls(), (Names{kRuleAdd, kRuleDel}));
    ASSERT_EQ(call("ip_filter_init", "{\"anything\":[1]}"), success());
    EXPECT_EQ(calls(), (Names{"zu_sec_ipfilter_init", kFlush, kRestart, kRuleAdd}));
}

TEST_F(IpFilterTest, RefusalsLeaveWhatTheyShould) {
    const auto before = read_package("app_ipfilter");
    refuse(kSet);
    EXPECT_EQ(basic_set(1, 0, 0), failure(-1, "igdCmSecureIPFilterAttrSet error"));
    EXPECT_EQ(calls(), Names{kSet});
    refuse(kRuleAdd, 5);
    EXPECT_EQ(add(1), failure(-1, "igdCmSecureUrlFilterListAdd error"));
    EXPECT_EQ(calls(), Names{kRuleAdd});
    EXPECT_EQ(read_package("app_ipfilter"), before);

    recording_platform::reset();
    ASSERT_EQ(add(1), success());
    const auto one_rule = read_package("app_ipfilter");
    refuse(kRuleDel);
    EXPECT_EQ(del(1), failure(-1, "igdCmSecureIPFilterListDel error"));
    EXPECT_EQ(read_package("app_ipfilter"), one_rule);
    EXPECT_EQ(set(1, "10.0.0.2"), success());  // the old rule's removal is not looked at
    refuse(kRuleAdd);
    EXPECT_EQ(set(1, "10.0.0.3"), failure(-1, "igdCmSecureIPFilterListSet error"));
    EXPECT_STREQ(row(0).aucLanIPStart, "10.0.0.2");

    refuse(kFlush);
    EXPECT_EQ(basic_set(1, 0, 0), success());
    EXPECT_EQ(igdCmSecureIPFilterAllInit(), -1);
    recording_platform::reset();
    refuse(kRestart);
    EXPECT_EQ(igdCmSecureIPFilterAllInit(), -1);
    EXPECT_EQ(calls(), (Names{kFlush, kRestart}));
}

TEST_F(IpFilterTest, WhatCannotBeStoredLeavesThePackage) {
    ASSERT_EQ(basic_set(1, 0, 0), success());
    ASSERT_EQ(add(1), success());
    calls();
    const auto before = read_package("app_ipfilter");
    const FullDisk full;
    EXPECT_EQ(add(1), failure(-1, "igdCmSecureUrlFilterListAdd error"));
    EXPECT_EQ(calls(), (Names{kRuleAdd, kFlush, kRestart, kRuleAdd}));
    EXPECT_EQ(set(1, "10.0.0.2"), failure(-1, "igdCmSecureIPFilterListSet error"));
    EXPECT_EQ(calls(), Names{kRuleAdd});  // the old rule stays in force beside the new one
    EXPECT_EQ(del(1), success());
    EXPECT_EQ(calls(), (Names{kRuleDel, kFlush, kRestart, kRuleAdd}));
    EXPECT_EQ(basic_set(0, 0, 0), success());
    EXPECT_EQ(calls(), (Names{kSet, kFlush, kRestart, kRuleAdd}));
    EXPECT_EQ(read_package("app_ipfilter"), before);
}

TEST_F(IpFilterTest, AddressesAreCheckedUnlessTheyMeanAny) {
    const auto bad = failure(268435457, "igdCmSecureUrlFilterListAdd error");
    EXPECT_EQ(add(1, "10.0.0.300"), bad);
    EXPECT_EQ(add(1, "fe80::1%eth0"), bad);
    EXPECT_EQ(add(1, "10.0.0.1; reboot"), bad);
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(add(1, " 10.0.0.1"), success());
    EXPECT_STREQ(row(0).aucLanIPStart, " 10.0.0.1");
    EXPECT_EQ(add(1, ""), success());
    EXPECT_EQ(add(1, std::string(40, '1')), refused(2));
    EXPECT_EQ(add(1, std::string(39, ' ')), success());
    EXPECT_EQ(total(), 3);
}

TEST_F(IpFilterTest, IndexesHaveTheirLimits) {
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(add(i % 2), success()) << i;
    EXPECT_EQ(add(1), failure(-2, "igdCmSecureUrlFilterListAdd error"));
    EXPECT_EQ(set(100, "10.0.0.2"), failure(-2, "igdCmSecureIPFilterListSet error"));
    EXPECT_EQ(set(101, "10.0.0.2"), refused(2));
    EXPECT_EQ(set(256 + 99, "10.0.0.2"), success());
    EXPECT_STREQ(row(98).aucLanIPStart, "10.0.0.2");
    EXPECT_EQ(set(0, "10.0.0.2"), failure(-1, "igdCmSecureIPFilterListSet error"));
    EXPECT_EQ(del(101), refused(2));
    EXPECT_EQ(del(3), success());
    EXPECT_EQ(del(3), failure(268435457, "igdCmSecureIPFilterListDel error"));
    EXPECT_EQ(del(100), success());
    EXPECT_EQ(add(1), success());
    EXPECT_EQ(row(total() - 1).ucIndex, 100);
}

TEST_F(IpFilterTest, IndexWrapsInItsWidth) {
    write_package("app_ipfilter", "config IGD_SECUR_IP_FILTER_LIST_TAB\n\toption ucIndex '255'\n");
    ASSERT_EQ(add(1), success());
    EXPECT_EQ(row(1).ucIndex, 0);
}

TEST_F(IpFilterTest, SetStoresTheRequestButSendsTheMergedRule) {
    ASSERT_EQ(add(1, "10.0.0.1"), success());
    calls();
    IgdSecurIpFilterListTab request{};
    request.ucIndex = 1;
    std::strcpy(request.aucLanIPStart, "10.0.0.5");
    request.ulBitmap = 2;
    ASSERT_EQ(igdCmSecureIPFilterListSet(&request, sizeof(request)), 0);
    const auto sent = recording_platform::take();
    EXPECT_EQ(sent[0].text(104), "10.0.0.5");
    EXPECT_EQ(sent[0].text(144), "10.0.0.9");
    EXPECT_EQ(sent[1].text(104), "10.0.0.1");
    EXPECT_STREQ(row(0).aucLanIPStart, "10.0.0.5");
    EXPECT_STREQ(row(0).aucLanIPEnd, "");
}

TEST_F(IpFilterTest, ValuesAreNarrowedBeforeTheyAreChecked) {
    EXPECT_EQ(basic_set(257, 256, 1), success());
    IgdSecurIpFilterAttrTab attr{};
    ASSERT_EQ(mib_chain_get(IGD_SECUR_IP_FILTER_ATTR_TAB, 0, &attr), 1);
    EXPECT_EQ(attr.ucUpFilterEnable, 1);
    EXPECT_EQ(attr.ucDownFilterEnable, 1);
    EXPECT_EQ(attr.ucUpListType, 0);
    EXPECT_EQ(attr.ucDownListType, 1);
    EXPECT_EQ(attr.ulBitmap, 27u);
}

TEST_F(IpFilterTest, LinesBearTheOperationAndTheResult) {
    recording_platform::open_log(true);
    refuse(kRuleAdd, 5);
    testing::internal::CaptureStdout();
    add(1);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(text.find("[CM:igdCmSecureIPFilterListAdd("), 0u) << text;
    EXPECT_NE(text.find(")]Warnning call zu_sal_ipfilter_rule_add failed with lRet [00000005].\t\n"
                        "\r\n"),
              std::string::npos)
        << text;
}

TEST_F(IpFilterTest, WrongRecordSizesAreRefused) {
    IgdSecurIpFilterListTab request{};
    EXPECT_EQ(igdCmSecureIPFilterListAdd(&request, sizeof(request) - 1), 268435457);
    EXPECT_EQ(igdCmSecureIPFilterListDel(nullptr, sizeof(request)), 268435457);
    EXPECT_TRUE(calls().empty());
}

}  // namespace
