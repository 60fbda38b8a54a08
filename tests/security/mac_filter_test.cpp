#include "security/mac_filter/mac_filter.h"

#include "support/module_test.h"

using namespace appcfg;

namespace {

using Attr = IgdSecMacFiltAttr;
using Rule = IgdSecMacFiltList;
using Items = std::vector<std::string>;

constexpr char kItemAdd[] = "zu_zu_lanhost_macfilter_item_add_call";
constexpr MacAddress kHost{0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
constexpr MacAddress kOther{2, 0, 0, 0, 0, 1};

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

    /// Adds an enabled rule for a host, and forgets the calls until then.
    static void add(const MacAddress& host) {
        Rule rule{.ulEnable = 1, .macAddress = host};
        ASSERT_EQ(igdCmSecureMacFilterListAdd(&rule, sizeof(rule)), 0);
        calls();
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

TEST_F(MacFilterTest, EachBitOfASetDoesItsOwnPart) {
    add(kHost);
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
    for (const auto& host : {kHost, kOther, kHost})
        add(host);
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

TEST_F(MacFilterTest, BadAttributesStopWhatNeedsThem) {
    write_package("app_macfilter", "config IGD_SECUR_MAC_FILTER_ATTR_TAB\noption ucFilterMode 7\n");
    Attr attr{.ucMacFilterEnable = 1, .ulBitmap = 1};
    EXPECT_EQ(igdCmSecureMacFilterAttrSet(&attr, sizeof(attr)), -1);
    EXPECT_EQ(igdCmMacFilterModuleInit(), 0);
    EXPECT_TRUE(calls().empty());
}

}  // namespace
