#include "qos/lanhost/lanhost.h"

#include <cstring>

#include "core/rows.h"
#include "qos/qos.h"
#include "support/module_test.h"

using namespace appcfg;
using namespace appcfg::qos;

namespace {

constexpr char kProfileSet[] = "zu_zu_qos_set_profile_call";
constexpr char kProfileDel[] = "zu_zu_qos_del_profile_call";
constexpr char kFlush[] = "zu_zu_netif_lrn_flush_call";
constexpr char kRuleOp[] = "zu_ebtables_rule_op";
constexpr char kMac[] = "02:00:00:00:00:01";

struct LanHostTest : ModuleTest {
    LanHostTest() : ModuleTest(register_tables) {
        recording_platform::answer(kProfileSet, {9, 0, 0, 0});
    }

    static LanHost host(const char* mac, uint32_t up, uint32_t down) {
        LanHost host{.up_bandwidth = up, .dn_bandwidth = down};
        std::strcpy(host.macstr, mac);
        return host;
    }
    /// The ebtables calls since the calls were last looked at.
    static Names tables() {
        Names lines;
        for (const auto& call : recording_platform::take())
            if (call.name.starts_with("zu_ebtables")) lines.push_back(call.text(0));
        return lines;
    }
};

TEST_F(LanHostTest, ResultsTellWhatHappened) {
    LanHost unknown = host(kMac, 1, 1);
    EXPECT_EQ(lanhost_bw_modify(unknown), 0x70000000);
    EXPECT_EQ(del_dev_node_bandwidth(unknown, HostRow::Delete), 0x70000000);
    EXPECT_EQ(calls(), Names{});
    ASSERT_EQ(add_dev_node_bandwidth(unknown, HostRow::Add), 0);
    EXPECT_EQ(unknown.dn_qid, 9);
    EXPECT_EQ(calls(), (Names{kProfileSet, kRuleOp, kProfileSet, kRuleOp, kFlush}));
    // A direction with a rate is given back even if it has no queue.
    LanHost one_way = host(kMac, 1, 0);
    write_row(lan_host_table, 0, one_way);
    EXPECT_EQ(del_dev_node_bandwidth(one_way, HostRow::Keep), 0);
    EXPECT_EQ(calls(), (Names{kRuleOp, kProfileDel}));
    EXPECT_EQ(count_rows(lan_host_table), 1);
    recording_platform::refuse(kRuleOp, 3);
    LanHost again = host(kMac, 1, 1);
    EXPECT_EQ(add_dev_node_bandwidth(again, HostRow::Update), 6);
    FullDisk full;
    LanHost other = host("02:00:00:00:00:02", 1, 0);
    EXPECT_EQ(add_dev_node_bandwidth(other, HostRow::Add), -1);
}

TEST_F(LanHostTest, WhatIsNoAddressGetsNoRule) {
    for (const char* mac : {"", " ", "02:00:00:00:00:01 ", "2:0:0:0:0:1 -j DROP", "!", "Unicast"}) {
        EXPECT_EQ(bandwidth_cmd_operate(0, "-A", mac, 9), kBandwidthRuleError) << mac;
        EXPECT_EQ(flush_lrn_tbl_by_mac(mac), -1) << mac;
    }
    EXPECT_EQ(flush_lrn_tbl_by_mac(nullptr), -1);
    EXPECT_EQ(calls(), Names{});
    EXPECT_EQ(bandwidth_cmd_operate(1, "-D", kMac, -2147483647 - 1), 0);
    EXPECT_EQ(
        tables(),
        Names{"nat -D ZU_DEVSPEED_POSTROUTING -d 02:00:00:00:00:01 -j cfe --qid -2147483648"});
}

TEST_F(LanHostTest, ChainsAreMadeAndTakenOutWhateverFails) {
    recording_platform::refuse("zu_ebtables_newchain");
    EXPECT_EQ(init_dev_bandwidth_xtables(), kBandwidthRuleError);
    EXPECT_EQ(tables(),
              (Names{"nat ZU_DEVSPEED_PREROUTING RETURN", "nat ZU_DEVSPEED_POSTROUTING RETURN",
                     "nat -I PREROUTING -j ZU_DEVSPEED_PREROUTING",
                     "nat -I POSTROUTING -j ZU_DEVSPEED_POSTROUTING"}));
    recording_platform::refuse("zu_ebtables_flushchain");
    exit_dev_bandwidth();
    EXPECT_EQ(tables(), (Names{"nat ZU_DEVSPEED_PREROUTING", "nat ZU_DEVSPEED_POSTROUTING",
                               "nat -D PREROUTING -j ZU_DEVSPEED_PREROUTING",
                               "nat -D POSTROUTING -j ZU_DEVSPEED_POSTROUTING",
                               "nat ZU_DEVSPEED_PREROUTING", "nat ZU_DEVSPEED_POSTROUTING"}));
}

}  // namespace
