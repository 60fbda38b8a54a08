#include "security/ip_filter/ip_filter.h"

#include <cstring>

#include "records/ip_filter.h"
#include "support/module_test.h"

using namespace appcfg;

namespace {

struct IpFilterTest : ModuleTest {
    IpFilterTest() : ModuleTest(register_ip_filter_tables) {}
};

TEST_F(IpFilterTest, ModeRecordNamesTheSelectedDirections) {
    IgdSecurIpFilterAttrTab attr{};
    attr.ucDownFilterEnable = 1;
    attr.ucDownListType = 1;
    attr.ucUpListType = 200;  // not selected, so not looked at
    attr.ulBitmap = 8 | 16;
    ASSERT_EQ(igdCmSecureIPFilterAttrSet(&attr, sizeof(attr)), 0);
    const auto calls = recording_platform::take();
    ASSERT_EQ(calls.size(), 2u);  // the stored enable is the upstream one: nothing is replayed
    EXPECT_EQ(calls[0].words(), (std::vector<uint32_t>{0, 1, 2, 1, 0}));
}

TEST_F(IpFilterTest, SetStoresTheRequestButSendsTheMergedRule) {
    IgdSecurIpFilterListTab rule{
        .ucIPFilterDir = 1, .aucLanIPStart = "10.0.0.1", .aucLanIPEnd = "10.0.0.9"};
    ASSERT_EQ(igdCmSecureIPFilterListAdd(&rule, sizeof(rule)), 0);
    recording_platform::take();
    IgdSecurIpFilterListTab request{.ucIndex = 1, .aucLanIPStart = "10.0.0.5", .ulBitmap = 2};
    ASSERT_EQ(igdCmSecureIPFilterListSet(&request, sizeof(request)), 0);
    const auto calls = recording_platform::take();
    EXPECT_EQ(calls.at(0).text(104) + calls[0].text(144), "10.0.0.510.0.0.9");
    EXPECT_EQ(calls.at(1).text(104), "10.0.0.1");
    EXPECT_NE(read_package("app_ipfilter").find("aucLanIPStart '10.0.0.5'"), std::string::npos);
    EXPECT_EQ(read_package("app_ipfilter").find("aucLanIPEnd"), std::string::npos);
}

TEST_F(IpFilterTest, CallersOutsideTheBusLearnOfWhatFailed) {
    IgdSecurIpFilterListTab request{};
    EXPECT_EQ(igdCmSecureIPFilterListAdd(&request, sizeof(request) - 1), 268435457);
    EXPECT_EQ(igdCmSecureIPFilterListDel(nullptr, sizeof(request)), 268435457);
    EXPECT_TRUE(calls().empty());
    write_package("app_ipfilter",
                  "config IGD_SECUR_IP_FILTER_ATTR_TAB\n\toption ucIPFilterEnable 1\n");
    for (const auto& call :
         {platform::kIpFilterFlushChain.name, platform::kIpFilterRestartSet.name}) {
        recording_platform::reset();
        recording_platform::refuse(call);
        EXPECT_EQ(igdCmSecureIPFilterAllInit(), -1) << call;
    }
}

}  // namespace
