#include "security/mac_filter/mac_filter.h"

#include "support/module_test.h"
#include "support/recording_bus.h"

using namespace appcfg;

namespace {

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
        {"-1:bb:cc:dd:ee:ff", 3, {}},
        {"0x:bb:cc:dd:ee:ff", 3, {}},
        {"aa:bb:cc: d:ee:ff", 3, {0xaa, 0xbb, 0xcc}},
        {"aa:bb:cc:dd:ee:f:", 3, {0xaa, 0xbb, 0xcc, 0xdd, 0xee}},
        {"aa:bb:cc:dd:ee0ff", 4, {0xaa, 0xbb, 0xcc, 0xdd, 0xee}},
    };
    for (const auto& c : kCases) {
        MacAddress mac{};
        EXPECT_EQ(static_cast<int32_t>(parse_mac(c.text, &mac)), c.result) << c.text;
        EXPECT_EQ(mac, c.mac) << c.text;
    }
}

struct MacFilterTest : ModuleTest {
    MacFilterTest() : ModuleTest(register_mac_filter_tables) {}

    /// `arguments` is without its braces.
    static BusReply call(const std::string& method, const std::string& arguments = "") {
        return call_method(mac_filter_bus_object(), "mac_filter_" + method, "{" + arguments + "}");
    }
    static BusReply add(const std::string& mac = kHostText) {
        return call("list_add", R"("ulEnable":1,"aucFilterMAC":")" + mac + '"');
    }
    static BusReply disable(int index) {
        return call("list_set", "\"ulEnable\":0,\"ulIndex\":" + std::to_string(index) +
                                    R"(,"aucFilterMAC":"AA:BB:CC:DD:EE:FF")");
    }
    static Rule row(int32_t position) {
        Rule row{};
        EXPECT_EQ(mib_chain_get(IGD_SECUR_MAC_FILTER_LIST_TAB, position, &row), 1);
        return row;
    }
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
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].text(0), "02:00:00:00:00:01");
    EXPECT_EQ(sent[0].word(20), 2u);
    std::string bytes(24, '\0');
    bytes.replace(0, 17, kHostText);
    bytes[20] = 1;
    EXPECT_EQ(std::string(sent[1].record.begin(), sent[1].record.end()), bytes);
    EXPECT_EQ(row(0).macAddress, kHost);
    EXPECT_EQ(row(0).destMacAddress, kNoMac);
}

TEST_F(MacFilterTest, ChangedAttributesDisableTheRulesInTheListOnly) {
    ASSERT_EQ(add(), success());
    calls();
    Attr attr{.ucMacFilterEnable = 1, .ucFilterMode = 9, .ulBitmap = 1};
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), 0);
    EXPECT_EQ(calls(), Names{kModeSet});
    EXPECT_EQ(row(0).ulEnable, 0u);
}

TEST_F(MacFilterTest, EachBitOfASetDoesItsOwnPart) {
    ASSERT_EQ(add(), success());
    calls();
    Rule rule{.ulIndex = 1, .macAddress = kOther, .destMacAddress = kOther};
    const std::pair<uint32_t, Items> steps[] = {
        {16, {}},
        {4, {"-1 AA:BB:CC:DD:EE:FF"}},
        {8, {}},  // the stored rule has no destination
        {2, {"-1 AA:BB:CC:DD:EE:FF", "+2 02:00:00:00:00:01", "+1 AA:BB:CC:DD:EE:FF"}},
        {32, {"-1 AA:BB:CC:DD:EE:FF"}},  // the destination was not stored
        {33, {"-1 AA:BB:CC:DD:EE:FF"}},
    };
    for (const auto& [bitmap, sent] : steps) {
        rule.ulBitmap = bitmap;
        EXPECT_EQ(igdCmSecureMacFilterListSet(&rule, sizeof(rule)), 0);
        EXPECT_EQ(items(), sent) << bitmap;
    }
    EXPECT_EQ(row(0).macAddress, kOther);
    EXPECT_EQ(igdCmSecureMacFilterListSet(&rule, sizeof(rule) - 1), 268435457);
}

TEST_F(MacFilterTest, RulesAreFoundByIndexOrElseByAddressAndFitTheirReader) {
    for (const char* mac : {kHostText, "02:00:00:00:00:01", kHostText})
        ASSERT_EQ(add(mac), success());
    Rule wanted{.ulIndex = 3, .macAddress = kOther};
    ASSERT_EQ(igdCmSecureMacFilterListGet(&wanted, sizeof(wanted)), 0);
    EXPECT_EQ(wanted.macAddress, kHost);
    wanted.ulIndex = 0;
    EXPECT_EQ(igdCmSecureMacFilterListDel(&wanted, sizeof(wanted)), 0);
    uint32_t indexes[2] = {};
    EXPECT_EQ(igdCmSecureMacFilterListGetallIndex(indexes, sizeof(indexes) - 1), -1);
    EXPECT_EQ(igdCmSecureMacFilterListGetallIndex(indexes, sizeof(indexes)), 0);
    EXPECT_EQ(indexes[0], 2u);
    EXPECT_EQ(indexes[1], 3u);
}

TEST_F(MacFilterTest, RuleThatCannotBeStored) {
    ASSERT_EQ(add(), success());
    calls();
    const auto before = read_package("app_macfilter");
    {
        const FullDisk full;
        EXPECT_EQ(add(), failure(-1, "igdCmSecureMacFilterListAdd error"));
        EXPECT_TRUE(calls().empty());
        EXPECT_EQ(disable(1), failure(-1, "igdCmSecureMacFilterListSet error"));
        EXPECT_EQ(calls(), (Names{kItemDel, kItemDel, kItemAdd, kItemDel, kItemAdd, kItemDel}));
    }
    EXPECT_EQ(read_package("app_macfilter"), before);
}

TEST_F(MacFilterTest, IndexesHaveTheirLimits) {
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(add(), success()) << i;
    EXPECT_EQ(add(), failure(-2, "igdCmSecureMacFilterListAdd error"));
    EXPECT_EQ(disable(100), success());
    EXPECT_EQ(call("list_del", R"("ulIndex":101)"), refused(2));
    ASSERT_EQ(call("list_del", R"("ulIndex":50)"), success());
    EXPECT_EQ(add("no MAC"), success());
    EXPECT_EQ(row(99).ulIndex, 101u);
    // No address does not name the rule that has none.
    EXPECT_EQ(call("list_del", R"("ulIndex":0)"), success());
    EXPECT_EQ(mib_chain_total(IGD_SECUR_MAC_FILTER_LIST_TAB), 100);
    EXPECT_EQ(call("basic_set", R"("ucMacFilterEnable":0,"ucFilterMode":0)"), success());
    EXPECT_EQ(mib_chain_total(IGD_SECUR_MAC_FILTER_LIST_TAB), 1);  // the one beyond index 100
}

TEST_F(MacFilterTest, BadAttributesStopWhatNeedsThem) {
    write_package("app_macfilter", "config IGD_SECUR_MAC_FILTER_ATTR_TAB\noption ucFilterMode 7\n");
    Attr attr{.ucMacFilterEnable = 1, .ulBitmap = 1};
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), -1);
    static constexpr TableDescriptor kUnreadable{.id = IGD_SECUR_MAC_FILTER_ATTR_TAB,
                                                 .get = [](int32_t, void*) { return 0; }};
    ASSERT_EQ(mib_chain_register(&kUnreadable, 1), 0);
    EXPECT_EQ(add(), failure(-1, "igdCmSecureMacFilterListAdd error"));
    EXPECT_EQ(call("basic_set", R"("ucMacFilterEnable":1,"ucFilterMode":0)"),
              failure(-1, "igdCmSecureMacFilterAttrGet error"));
    EXPECT_EQ(igdCmSecureMacFilterListInit(), -1);
    EXPECT_EQ(igdCmMacFilterModuleInit(), 0);
    EXPECT_TRUE(calls().empty());
}

TEST_F(MacFilterTest, LogLinesBearTheOperationsName) {
    recording_platform::open_log(true);
    testing::internal::CaptureStdout();
    ASSERT_EQ(add(), success());
    ASSERT_EQ(call("list_del", R"("ulIndex":7)"), success());
    const auto text = testing::internal::GetCapturedStdout();
    for (const char* line :
         {")]ulEnable(1),ulIndex(0), macAddress(AA:BB:CC:DD:EE:FF), destMacAddress("
          "00:00:00:00:00:00), ulMACPortBind(0), ulDestMACPortBind(0)\t\n\r\n",
          "[CM:igdCmSecureMacFilterListAdd(", ")]ulIndex(7) not need to delete\t\n\r\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << " in " << text;
}

}  // namespace
