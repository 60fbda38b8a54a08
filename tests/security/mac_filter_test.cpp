#include "security/mac_filter/mac_filter.h"

#include "support/module_test.h"
#include "support/recording_bus.h"

namespace {

using recording_platform::refuse;
using Attr = IgdSecMacFiltAttr;
using Rule = IgdSecMacFiltList;
using Items = std::vector<std::string>;

constexpr char kModeSet[] = "zu_zu_lanhost_macfilter_mode_set_call";
constexpr char kItemAdd[] = "zu_zu_lanhost_macfilter_item_add_call";
constexpr char kItemDel[] = "zu_zu_lanhost_macfilter_item_del_call";
constexpr MacAddress kHost{0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
constexpr MacAddress kOther{2, 0, 0, 0, 0, 1};
constexpr char kHostText[] = "AA:BB:CC:DD:EE:FF";

TEST(MacTextTest, BadTextsEndInTheirResultAndKeepWhatWasConverted) {
    constexpr struct {
        const char* text;
        int32_t result;
        MacAddress mac;
    } kCases[] = {
        {"AA-bb:Cc-dD:EE-ff", 0, kHost},
        {"aa:bb:cc:dd:ee:f", 1, {}},
        {"aa:bb:cc:dd:ee:ff ", 1, {}},
        {"a-:bb:cc:dd:ee:ff", 3, {}},
        {"-1:bb:cc:dd:ee:ff", 3, {}},
        {"0x:bb:cc:dd:ee:ff", 3, {}},
        {"aa:bb:cc: d:ee:ff", 3, {0xaa, 0xbb, 0xcc}},
        {"aa:bb:cc:dd:ee:f:", 3, {0xaa, 0xbb, 0xcc, 0xdd, 0xee}},
        {"aa.bb:cc:dd:ee:ff", 4, {0xaa}},
        {"aa:bb:cc:dd:ee0ff", 4, {0xaa, 0xbb, 0xcc, 0xdd, 0xee}},
    };
    for (const auto& c : kCases) {
        MacAddress mac{};
        EXPECT_EQ(static_cast<int32_t>(parse_mac(c.text, &mac)), c.result) << c.text;
        EXPECT_EQ(mac, c.mac) << c.text;
    }
    MacAddress mac{};
    EXPECT_EQ(parse_mac(kHostText, nullptr), MacTextResult::NoBuffer);
    EXPECT_EQ(parse_mac(nullptr, &mac), MacTextResult::NoBuffer);
    EXPECT_STREQ(mac_text({0, 0x0a, 0x10, 0xff, 9, 0xb0}).text, "00:0A:10:FF:09:B0");
}

struct MacFilterTest : ModuleTest {
    MacFilterTest() : ModuleTest(register_mac_filter_tables) {}

    static BusReply call(const std::string& method, const std::string& json = "{}") {
        return call_method(mac_filter_bus_object(), method, json);
    }
    static BusReply basic_set(int enable, int mode) {
        return call("mac_filter_basic_set", "{\"ucMacFilterEnable\":" + std::to_string(enable) +
                                                ",\"ucFilterMode\":" + std::to_string(mode) + "}");
    }
    static BusReply add(int enable, const std::string& mac = kHostText) {
        return call("mac_filter_list_add", "{\"ulEnable\":" + std::to_string(enable) +
                                               ",\"aucFilterMAC\":\"" + mac + "\"}");
    }
    static BusReply set(int index, int enable, const std::string& mac = kHostText) {
        return call("mac_filter_list_set", "{\"ulIndex\":" + std::to_string(index) +
                                               ",\"ulEnable\":" + std::to_string(enable) +
                                               ",\"aucFilterMAC\":\"" + mac + "\"}");
    }
    static BusReply del(int index) {
        return call("mac_filter_list_del", "{\"ulIndex\":" + std::to_string(index) + "}");
    }
    static Rule row(int32_t position) {
        Rule row{};
        EXPECT_EQ(mib_chain_get(IGD_SECUR_MAC_FILTER_LIST_TAB, position, &row), 1);
        return row;
    }
    static int32_t total() { return mib_chain_total(IGD_SECUR_MAC_FILTER_LIST_TAB); }

    /// The item calls since they were last asked for: "+" or "-", kind and address.
    static Items items() {
        Items items;
        for (const auto& call : recording_platform::take())
            items.push_back((call.name == kItemAdd ? "+" : "-") + std::to_string(call.word(20)) +
                            " " + call.text(0));
        return items;
    }
};

TEST_F(MacFilterTest, AddedRuleGoesOutByteForByteAndIsStored) {
    Rule rule{.ulEnable = 1, .macAddress = kHost, .destMacAddress = kOther};
    ASSERT_EQ(igdCmSecureMacFilterListAdd(&rule, sizeof(rule)), 0);
    EXPECT_EQ(rule.ulIndex, 1u);
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].text(0), "02:00:00:00:00:01");
    EXPECT_EQ(sent[0].word(20), 2u);
    std::string bytes(24, '\0');
    bytes.replace(0, 17, kHostText);
    bytes[20] = 1;
    EXPECT_EQ(sent[1].name, kItemAdd);
    EXPECT_EQ(std::string(sent[1].record.begin(), sent[1].record.end()), bytes);
    EXPECT_EQ(row(0).macAddress, kHost);
    EXPECT_EQ(row(0).destMacAddress, kNoMac);
    EXPECT_EQ(row(0).ulBitmap, 33u);
}

TEST_F(MacFilterTest, ChangedAttributesDisableTheRulesInTheListOnly) {
    ASSERT_EQ(basic_set(1, 0), success());
    ASSERT_EQ(add(1), success());
    Attr attr{.ucMacFilterEnable = 9, .ucFilterMode = 1, .ulBitmap = 2};
    refuse(kModeSet);
    const auto before = read_package("app_macfilter");
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), -1);
    EXPECT_EQ(basic_set(0, 0), failure(-1, "igdCmSecureMacFilterAttrSet error"));
    EXPECT_EQ(read_package("app_macfilter"), before);

    recording_platform::reset();
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), 0);
    EXPECT_EQ(calls(), Names{kModeSet});
    EXPECT_EQ(row(0).ulEnable, 0u);
    Attr stored{};
    ASSERT_EQ(igdCmSecureMacFilterAttrGet(&stored, sizeof(stored)), 0);
    EXPECT_EQ(stored.ucMacFilterEnable, 1);
    EXPECT_EQ(stored.ucFilterMode, 1);

    EXPECT_EQ(set(1, 1), success());
    calls();
    attr.ulForce = 0xffffffff;
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), 0);
    EXPECT_EQ(calls(), Names{kModeSet});
    EXPECT_EQ(row(0).ulEnable, 1u);
}

TEST_F(MacFilterTest, EachBitOfASetDoesItsOwnPart) {
    ASSERT_EQ(add(1), success());
    const std::string host = kHostText;
    Rule rule{.ulIndex = 1, .macAddress = kOther, .destMacAddress = kOther};
    const auto apply = [&](uint32_t bitmap) {
        items();
        rule.ulBitmap = bitmap;
        EXPECT_EQ(igdCmSecureMacFilterListSet(&rule, sizeof(rule)), 0);
        return items();
    };
    EXPECT_EQ(apply(16), Items{});
    EXPECT_EQ(apply(4), Items{"-1 " + host});
    EXPECT_EQ(apply(8), Items{});  // the stored rule has no destination
    rule.ulMACPortBind = 3;
    EXPECT_EQ(apply(4), Items{});
    EXPECT_EQ(apply(2), (Items{"-1 " + host, "+2 02:00:00:00:00:01", "+1 " + host}));
    EXPECT_EQ(apply(32), Items{"-1 " + host});  // the destination was not stored
    EXPECT_EQ(apply(32), Items{});
    EXPECT_EQ(row(0).ulEnable, 0u);
    rule.ulEnable = 2;
    EXPECT_EQ(apply(33), (Items{"-1 " + host, "+1 02:00:00:00:00:01"}));
    EXPECT_EQ(row(0).macAddress, kOther);
    EXPECT_EQ(igdCmSecureMacFilterListSet(&rule, sizeof(rule) - 1), 268435457);
}

TEST_F(MacFilterTest, RulesAreFoundByIndexOrElseByAddress) {
    ASSERT_EQ(add(1), success());
    ASSERT_EQ(add(1, "02:00:00:00:00:01"), success());
    ASSERT_EQ(add(1), success());
    Rule wanted{};
    EXPECT_EQ(igdCmSecureMacFilterListGet(&wanted, sizeof(wanted)), -1);
    wanted.macAddress = kOther;
    ASSERT_EQ(igdCmSecureMacFilterListGet(&wanted, sizeof(wanted)), 0);
    EXPECT_EQ(wanted.ulIndex, 2u);
    wanted = {.ulIndex = 3, .macAddress = kOther};
    ASSERT_EQ(igdCmSecureMacFilterListGet(&wanted, sizeof(wanted)), 0);
    EXPECT_EQ(wanted.macAddress, kHost);
    wanted.ulIndex = 0;
    EXPECT_EQ(igdCmSecureMacFilterListDel(&wanted, sizeof(wanted)), 0);
    EXPECT_EQ(calls().back(), kItemDel);

    uint32_t indexes[2] = {};
    EXPECT_EQ(igdCmSecureMacFilterListGetallIndex(indexes, sizeof(indexes) - 1), -1);
    EXPECT_EQ(igdCmSecureMacFilterListGetallIndex(indexes, sizeof(indexes)), 0);
    EXPECT_EQ(indexes[0], 2u);
    EXPECT_EQ(indexes[1], 3u);
    uint32_t count = 0;
    EXPECT_EQ(igdCmSecureMacFilterListEntryNumGet(&count, sizeof(count)), 0);
    EXPECT_EQ(count, 2u);
}

TEST_F(MacFilterTest, ListThatGrowsMeanwhileDoesNotOverrunItsReader) {
    static int32_t rows = 1;
    static constexpr TableDescriptor kGrowing{.id = IGD_SECUR_MAC_FILTER_LIST_TAB,
                                              .total = [] { return rows++; },
                                              .get =
                                                  [](int32_t, void* record) {
                                                      static_cast<Rule*>(record)->ulIndex = 7;
                                                      return 1;
                                                  }};
    ASSERT_EQ(mib_chain_register(&kGrowing, 1), 0);
    uint32_t indexes[] = {0, 0};
    EXPECT_EQ(igdCmSecureMacFilterListGetallIndex(indexes, sizeof(indexes[0])), 0);
    EXPECT_EQ(indexes[0], 7u);
    EXPECT_EQ(indexes[1], 0u);
}

TEST_F(MacFilterTest, RuleThatCannotBeStored) {
    ASSERT_EQ(basic_set(1, 0), success());
    ASSERT_EQ(add(1), success());
    calls();
    const auto before = read_package("app_macfilter");
    {
        const FullDisk full;
        EXPECT_EQ(add(1), failure(-1, "igdCmSecureMacFilterListAdd error"));
        EXPECT_TRUE(calls().empty());
        EXPECT_EQ(set(1, 0), failure(-1, "igdCmSecureMacFilterListSet error"));
        EXPECT_EQ(calls(), (Names{kItemDel, kItemDel, kItemAdd, kItemDel, kItemAdd, kItemDel}));
        Attr attr{.ulBitmap = 3};
        EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), 0);
        EXPECT_EQ(calls(), Names{kModeSet});
    }
    EXPECT_EQ(read_package("app_macfilter"), before);
}

TEST_F(MacFilterTest, IndexesAndTextsHaveTheirLimits) {
    refuse(kItemAdd);  // nobody asks
    refuse(kItemDel);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(add(1), success()) << i;
    EXPECT_EQ(add(0), failure(-2, "igdCmSecureMacFilterListAdd error"));
    EXPECT_EQ(set(0, 1), failure(268435457, "igdCmSecureMacFilterListSet error"));
    EXPECT_EQ(set(100, 1), success());
    EXPECT_EQ(set(101, 1), refused(2));
    EXPECT_EQ(del(101), refused(2));
    ASSERT_EQ(del(50), success());
    EXPECT_EQ(set(50, 1), failure(-1, "igdCmSecureMacFilterListSet error"));
    calls();
    EXPECT_EQ(add(1, "aa:bb:cc:dd:ee:f"), success());
    EXPECT_EQ(row(99).ulIndex, 101u);
    EXPECT_EQ(row(99).macAddress, kNoMac);
    EXPECT_EQ(del(0), success());  // no address does not name the rule that has none
    EXPECT_EQ(total(), 100);
    EXPECT_EQ(set(1, 1, "aa:bb:cc:dd:ee:ff:"), refused(2));
    EXPECT_EQ(basic_set(2, 0), failure(268435457, "igdCmSecureMacFilterAttrSet error"));
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(basic_set(0, 0), success());
    EXPECT_EQ(total(), 1);  // the one beyond index 100
}

TEST_F(MacFilterTest, ReplayPushesTheModeAlwaysAndGoodRulesWhileOn) {
    ASSERT_EQ(add(1), success());
    calls();
    EXPECT_EQ(call("mac_filter_init"), success());
    EXPECT_EQ(calls(), (Names{"init_macfilter", kModeSet}));
    write_package("app_macfilter",
                  "config IGD_SECUR_MAC_FILTER_ATTR_TAB\n\toption ucMacFilterEnable '1'\n"
                  "config IGD_SECUR_MAC_FILTER_LIST_TAB\n\toption ulIndex '4'\n"
                  "\toption aucFilterMAC '02-00-00-00-00-01'\n"
                  "config IGD_SECUR_MAC_FILTER_LIST_TAB\n\toption ulIndex '5'\n"
                  "\toption ulEnable '1'\n\toption aucFilterMAC 'nonsense'\n");
    refuse(kModeSet);
    EXPECT_EQ(igdCmSecureMacFilterAttrInit(), -1);
    EXPECT_EQ(igdCmMacFilterModuleInit(), 0);
    EXPECT_EQ(calls(), (Names{kModeSet, kModeSet, kItemDel}));
    EXPECT_NE(read_package("app_macfilter").find("'nonsense'"), std::string::npos);

    recording_platform::reset();
    write_package("app_macfilter",
                  "config IGD_SECUR_MAC_FILTER_ATTR_TAB\n\toption ucFilterMode '7'\n");
    EXPECT_EQ(igdCmSecureMacFilterAttrInit(), 268435457);
    Attr attr{.ucMacFilterEnable = 1, .ulBitmap = 1};
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), -1);
    EXPECT_TRUE(calls().empty());
}

TEST_F(MacFilterTest, UnreadableAttributesStopWhatNeedsThem) {
    static constexpr TableDescriptor kUnreadable{.id = IGD_SECUR_MAC_FILTER_ATTR_TAB,
                                                 .get = [](int32_t, void*) { return 0; }};
    ASSERT_EQ(add(1), success());
    ASSERT_EQ(mib_chain_register(&kUnreadable, 1), 0);
    calls();
    EXPECT_EQ(add(1), failure(-1, "igdCmSecureMacFilterListAdd error"));
    EXPECT_EQ(set(1, 0), failure(-1, "igdCmSecureMacFilterListSet error"));
    EXPECT_EQ(basic_set(1, 0), failure(-1, "igdCmSecureMacFilterAttrGet error"));
    EXPECT_EQ(igdCmSecureMacFilterAttrInit(), -1);
    EXPECT_EQ(igdCmSecureMacFilterListInit(), -1);
    EXPECT_EQ(igdCmMacFilterModuleInit(), 0);
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(del(1), success());
    EXPECT_EQ(total(), 0);
}

TEST_F(MacFilterTest, LogLinesBearTheOperationsName) {
    recording_platform::open_log(true);
    testing::internal::CaptureStdout();
    ASSERT_EQ(add(1), success());
    ASSERT_EQ(del(7), success());
    const auto text = testing::internal::GetCapturedStdout();
    for (const char* line :
         {")]ulEnable(1),ulIndex(0), macAddress(AA:BB:CC:DD:EE:FF), destMacAddress("
          "00:00:00:00:00:00), ulMACPortBind(0), ulDestMACPortBind(0)\t\n\r\n",
          "[CM:igdCmSecureMacFilterListAdd(", "[CM:igdCmSecureMacFilterListDel(",
          ")]ulIndex(7) not need to delete\t\n\r\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << " in " << text;
}

}  // namespace
