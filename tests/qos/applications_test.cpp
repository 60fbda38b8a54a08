#include <cstring>

#include "core/result.h"
#include "core/rows.h"
#include "qos/qos.h"
#include "support/module_test.h"

using namespace appcfg;
using namespace appcfg::qos;
using recording_platform::refuse;
using recording_platform::take;

namespace {

constexpr char kSet[] = "zu_zu_qos_apps_queue_set_call";
constexpr char kDel[] = "zu_zu_qos_apps_queue_del_call";
constexpr char kItemSet[] = "zu_zu_qos_item_attr_set_call";
constexpr char kItemDel[] = "zu_zu_qos_item_attr_del_call";

struct ApplicationsTest : ModuleTest {
    ApplicationsTest() : ModuleTest(register_tables) {}

    static std::string app(int index) {
        const std::string number = std::to_string(index);
        return "config IGD_QOS_APP_ATTR_TAB\n\toption ucAppIndex '" + number +
               "'\n\toption ucClassQueue '" + number + "'\n\toption aucAppName 'APP" + number +
               "'\n";
    }
};

TEST_F(ApplicationsTest, AddGoesBehindTheHighestIndexUntilTheTableIsFull) {
    write_package("app_qos", app(1) + app(2) + app(7));
    App request{.ucClassQueue = 3, .aucAppName = "SIP", .ulBitmap = App::All};
    EXPECT_EQ(igdCmQosAppAttrAdd(&request, sizeof(request)), 0);
    EXPECT_EQ(request.ucAppIndex, 8);
    const auto sent = take();
    EXPECT_EQ(sent[0].text(0) + std::to_string(sent[0].word(64)), "SIP3");
    App blank{};
    for (int i = 9; i <= 13; ++i)
        EXPECT_EQ(igdCmQosAppAttrAdd(&blank, sizeof(blank)), i < 13 ? 0 : IGD_CM_OPERATE_FULL);
    EXPECT_EQ(calls(), Names{});
}

TEST_F(ApplicationsTest, SetAndInitTakeTheOldBindingBackFirst) {
    write_package("app_qos", app(1) + app(9) + app(2));
    App request{.ucAppIndex = 2, .ucClassQueue = 5, .ulBitmap = App::ClassQueue};
    refuse(kDel);
    refuse(kSet);
    EXPECT_EQ(igdCmQosAppAttrSet(&request, sizeof(request)), IGD_CM_OPERATE_FAIL);
    EXPECT_EQ(igdCmQosAppAttrDel(&request, sizeof(request)), IGD_CM_OPERATE_FAIL);
    EXPECT_NE(read_package("app_qos").find(app(2).substr(30)), std::string::npos);
    recording_platform::reset();
    EXPECT_EQ(igdCmQosAppAttrSet(&request, sizeof(request)), 0);
    const auto sent = take();
    EXPECT_EQ(sent[0].name + sent[1].name, std::string(kDel) + kSet);
    EXPECT_EQ(sent[0].word(64) * 10 + sent[1].word(64), 25u);
    // The application above 8 is passed over; the last one's result counts.
    EXPECT_EQ(igdCmQosAppAttrInit(), 0);
    EXPECT_EQ(calls(), (Names{kDel, kSet, kDel, kSet}));
}

TEST_F(ApplicationsTest, ItemsCarryTheSwitchesAndAreBoundToSixteen) {
    Item request{.name = "voice", .priority = 8, .srcIp = "10.0.0.1", .ulBitmap = Item::All};
    for (uint32_t i = 1; i <= kMostItems; ++i)
        EXPECT_EQ(igdCmQosItemAttrAdd(&request, sizeof(request)), 0);
    EXPECT_EQ(request.index, kMostItems);
    EXPECT_EQ(igdCmQosItemAttrAdd(&request, sizeof(request)), IGD_CM_OPERATE_FULL);
    EXPECT_EQ(calls(), Names{}) << "QoS is off";
    write_package("app_qos", "config IGD_QOS_BASIC_ATTR_TAB\n\toption ucQosEnable '1'\n");
    std::strcpy(request.dstMask, "ffff::");
    EXPECT_EQ(igdCmQosItemAttrSet(&request, sizeof(request)), IGD_CM_GLOBAL_INPUT_PARA_ERROR);
    std::strcpy(request.dstMask, "255.255.0.0");
    std::memset(request.name, 'n', sizeof(request.name));
    EXPECT_EQ(igdCmQosItemAttrSet(&request, sizeof(request)), 0);
    const auto sent = take();
    EXPECT_EQ(sent[0].name + sent[0].text(4), std::string(kItemDel) + "voice");
    EXPECT_EQ(sent[1].name + sent[1].text(4), kItemSet + std::string(31, 'n'));
    EXPECT_EQ(sent[1].text(88) + " " + sent[1].text(240), "10.0.0.1 255.255.0.0");
    refuse(kItemSet, 9, 15);
    EXPECT_EQ(igdCmQosItemsAttrCtrl(1, 0, 0), 9);
    EXPECT_EQ(calls(), Names(16, kItemSet));
}

}  // namespace
