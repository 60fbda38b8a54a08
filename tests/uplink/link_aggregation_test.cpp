#include <algorithm>
#include <cstring>
#include <thread>

#include "uplink/uplink_commands.h"
#include "uplink/uplink_test.h"

namespace {

using recording_commands::Lines;
using recording_commands::take;
using recording_commands::wait_for;

std::string release_line(const std::string& port) {
    return "master=$(readlink -f /sys/class/net/" + port +
           "/master 2>/dev/null); if [ \"${master##*/}\" = \"br-lan\" ]; then brctl delif br-lan " +
           port + " 2>/dev/null; ip link set dev " + port +
           " nomaster 2>/dev/null; ip link set dev " + port +
           " up 2>/dev/null; else brctl delif br-lan " + port + " 2>/dev/null; fi";
}

std::string join_line(const std::string& port) {
    return "master=$(readlink -f /sys/class/net/" + port +
           "/master 2>/dev/null); [ \"${master##*/}\" = \"br-lan\" ] || { ip link set dev " + port +
           " nomaster 2>/dev/null; ip link set dev " + port +
           " up 2>/dev/null; brctl addif br-lan " + port + " 2>/dev/null; }";
}

void replace(std::string& text, const std::string& old, const std::string& fresh) {
    const auto at = text.find(old);
    ASSERT_NE(at, text.npos) << old;
    text.replace(at, old.size(), fresh);
}

struct LinkAggregationTest : UplinkTest {};

TEST_F(LinkAggregationTest, SetStoresTheBondAndLeavesEverythingElse) {
    auto network = read_package("network");
    replace(network, "'eth2'\n\tlist ports 'eth3'\n\tlist ports 'bond-la'", "'eth1'");
    replace(network, "ifname 'eth1'", "ifname 'bond-la'");
    replace(network, "'ipv4'\n", "'ipv4'\n\toption ifname 'bond-la'\n");
    replace(network, "'link'\n", "'link'\n\toption ifname 'bond-la'\n");
    network +=
        "\nconfig interface 'la'\n"
        "\toption proto 'bonding'\n"
        "\tlist slaves 'eth2'\n"
        "\tlist slaves 'eth3'\n"
        "\toption bonding_policy '802.3ad'\n"
        "\toption all_slaves_active '0'\n"
        "\toption link_monitoring 'off'\n"
        "\toption primary 'eth2'\n"
        "\toption ad_select 'count'\n"
        "\toption ipaddr '172.222.2.3'\n"
        "\toption netmask '255.255.255.0'\n\n";
    ASSERT_EQ(set(R"("eth2","eth3")", R"(,"ad_select":"count","lacp_rate":"","primary":"eth2")"),
              success());
    EXPECT_EQ(read_package("network"), network);
    EXPECT_TRUE(wait_for(kLastReload));
}

TEST_F(LinkAggregationTest, WorkersRunTheirLinesInOrder) {
    ASSERT_EQ(set(R"("eth2",7,"usb0")"), success());
    ASSERT_TRUE(wait_for(kLastReload));
    EXPECT_EQ(take(),
              (Lines{rc_call("disable"), rc_call("stop"), release_line("eth2"),
                     "/etc/init.d/network reload", release_line("eth2"), "ifup la 2>/dev/null",
                     "ifup wan1 2>/dev/null", "/etc/init.d/firewall reload",
                     "/etc/init.d/miniupnpd reload", kLastReload}));
    EXPECT_EQ(values("network", "slaves"), (Names{"eth2", "usb0"}));
    ASSERT_EQ(call("link_aggregation_del"), success());
    EXPECT_EQ(values("network", "ports"), (Names{"eth0", "eth3", "eth1", "eth2"}));
    ASSERT_TRUE(removal_is_applied());
    EXPECT_EQ(take(), (Lines{rc_call("stop"), "brctl delif br-lan bond-la 2>/dev/null",
                             join_line("eth0"), join_line("eth3"), join_line("eth1"),
                             join_line("eth2"), "/etc/init.d/network reload",
                             "/etc/init.d/firewall reload", "/etc/init.d/miniupnpd reload",
                             kLastReload, rc_call("enable"), rc_call("start")}));
}

TEST_F(LinkAggregationTest, BondBeforeIsReplacedWhereItIsToldTo) {
    write_package("network",
                  "config device 'br_lan'\n\tlist ports 'eth0'\n"
                  "config interface 'la'\n\toption slaves 'eth2 eth3'\n\toption primary 'eth3'\n");
    ASSERT_EQ(set(R"("eth0","eth3")", R"(,"primary":"")"), success());
    EXPECT_EQ(values("network", "slaves"), (Names{"eth0", "eth3"}));
    EXPECT_EQ(values("network", "ports"), Names{"eth2"});
    EXPECT_NE(read_package("network").find("primary 'eth3'"), std::string::npos);
    EXPECT_TRUE(wait_for(kLastReload));
}

TEST_F(LinkAggregationTest, PreviousUplinkIsTheFixedPortOnlyInFixedMode) {
    const auto freed = [this](const std::string& options) {
        write_package("auto_wan", "config auto_wan 'auto_wan'\n" + options);
        write_package("network", "config device\n\toption name 'br-lan'\n");
        EXPECT_EQ(set(), success());
        EXPECT_TRUE(wait_for(kLastReload));
        take();
        return values("network", "ports");
    };
    EXPECT_EQ(freed("option cfg_mode 1\noption cfg_linkid 4\noption current_uplinkid 2\n"),
              Names{});  // eth3 is a slave now
    EXPECT_EQ(freed("option cfg_mode 1\noption cfg_linkid 1\noption current_uplinkid 2\n"),
              Names{"eth0"});
    EXPECT_EQ(freed("option cfg_mode 2\noption cfg_linkid 1\noption current_uplinkid 2\n"),
              Names{"eth1"});
    EXPECT_EQ(freed("option cfg_mode 1\noption current_uplinkid 2\n"), Names{"eth1"});
    EXPECT_EQ(freed("option current_uplinkid -1\n"), Names{});
    EXPECT_EQ(freed("option current_uplinkid 99999999999999999999\n"), Names{"eth2147483646"});
}

TEST_F(LinkAggregationTest, WanZoneThatNamesLaIsLeftAlone) {
    const std::string zone = "config zone\n\toption name wan\n\t";
    for (const auto& other :
         {zone + "option network 'wan1 la'\n", zone + "list network la\n",
          std::string("config zone\n\toption name lan\n"), std::string("config \"zone")}) {
        write_package("firewall", other);
        have_bond();
        EXPECT_EQ(read_package("firewall"), other);
    }
    write_package("firewall", zone + "option network 'lan la2'\n");
    have_bond();
    EXPECT_EQ(values("firewall", "network"), (Names{"lan la2", "la"}));
}

TEST_F(LinkAggregationTest, TellsHowTheWanZoneWentToTheLetter) {
    std::string expected;
    for (const char* line :
         {"Start: Adding 'la' interface to wan zone network list", "Loading firewall config...",
          "Firewall config loaded successfully", "Searching for wan zone...",
          "Found zone: (null) (section name: first)", "Found zone: wan (section name: second)",
          "Found wan zone, section name: second", "Current wan zone network list: wan1 wan2",
          "Adding 'la' to wan zone network list...", "uci_add_list returned: 0",
          "Successfully added network option, committing...", "uci_commit returned: 0",
          "Completed"})
        expected += "[add_la_to_wan_firewall_zone] " + std::string(line) + "\n";
    write_package("firewall",
                  "config zone 'first'\nconfig other\n\toption name wan\n"
                  "config zone 'second'\n\toption name wan\n\toption network 'wan1 wan2'\n"
                  "config zone 'third'\n\toption name wan\n");
    testing::internal::CaptureStdout();
    have_bond();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
    EXPECT_EQ(values("firewall", "network"), (Names{"wan1 wan2", "la"}));
}

TEST_F(LinkAggregationTest, ArgumentsThatMakeNoSenseChangeNothing) {
    const auto missing = [](const std::string& name) {
        auto reply = failure(-3, "Parameter " + name + " is NULL. Please try again.");
        reply.status = 9;
        return reply;
    };
    const auto before = read_package("auto_wan");
    EXPECT_EQ(call("link_aggregation_set"), missing("slaves"));
    EXPECT_EQ(call("link_aggregation_set", R"({"slaves":"eth1 eth2","bonding_policy":"x"})"),
              missing("slaves"));
    EXPECT_EQ(call("link_aggregation_set", R"({"slaves":[],"bonding_policy":1})"),
              missing("bonding_policy"));
    const auto two = failure(-3, "slaves must contain exactly 2 interfaces");
    for (const char* slaves : {"", "\"eth1\"", R"("a","b","c")", R"("eth1",2,{"x":"eth2"})",
                               R"("1","2","3","4","5","6","7","8","9")"})
        EXPECT_EQ(set(slaves), two) << slaves;
    const std::string huge(300, 'e');
    EXPECT_EQ(set("\"" + huge + "\",\"eth1\",\"eth2\""), two);
    EXPECT_EQ(call("link_aggregation_set", R"({"slaves":["eth1","eth2"],"bonding_policy":""})"),
              failure(-3, "bonding_policy is required"));
    EXPECT_EQ(read_package("auto_wan"), before);
    EXPECT_EQ(take(), Lines{});
}

TEST_F(LinkAggregationTest, FailureKeepsWhatWasCommittedBefore) {
    const auto network = read_package("network");
    EXPECT_EQ(set(R"("","")"), failure(-1, "Failed to set slaves"));
    EXPECT_EQ(read_package("network"), network);
    EXPECT_NE(read_package("auto_wan").find("cfg_mode '1'"), std::string::npos);
    EXPECT_EQ(take(), (Lines{rc_call("disable"), rc_call("stop")}));

    const std::string too_large(5 << 20, 'x');
    EXPECT_EQ(set(R"("eth2","eth3")", ",\"primary\":\"" + too_large + "\""),
              failure(-1, "Failed to load network config"));
    EXPECT_EQ(read_package("network"), network);
    EXPECT_EQ(take(), (Lines{rc_call("disable"), rc_call("stop")}));

    write_package("network", "config \"broken");
    EXPECT_EQ(set(), failure(-1, "Failed to load network config"));
    EXPECT_EQ(call("link_aggregation_del"), failure(-1, "Failed to load network config"));
    EXPECT_EQ(call("link_aggregation_del_no_commit"), failure(-1, "Failed to load network config"));
    EXPECT_EQ(read_package("network"), "config \"broken");
    EXPECT_EQ(take(), (Lines{rc_call("disable"), rc_call("stop"), rc_call("stop")}));

    write_package("auto_wan", "config \"broken");
    EXPECT_EQ(set(), failure(-1, "Failed to load auto_wan config"));
    EXPECT_EQ(take(), Lines{});
}

TEST_F(LinkAggregationTest, FullDiskNeverLooksLikeSuccess) {
    have_bond();
    const auto network = read_package("network");
    const auto auto_wan = read_package("auto_wan");
    {
        FullDisk full;
        EXPECT_EQ(set(R"("eth0","eth1")"), failure(-1, "Failed to load auto_wan config"));
        EXPECT_EQ(call("link_aggregation_del"), failure(-1, "Failed to load network config"));
        EXPECT_EQ(call("link_aggregation_del_no_commit"),
                  failure(-1, "Failed to load network config"));
    }
    EXPECT_EQ(read_package("network"), network);
    EXPECT_EQ(read_package("auto_wan"), auto_wan);
    EXPECT_EQ(take(), Lines{rc_call("stop")});
}

TEST_F(LinkAggregationTest, DeleteWithoutABondOnlyStopsTheDetection) {
    const auto auto_wan = read_package("auto_wan");
    ASSERT_EQ(call("link_aggregation_del"), success());
    EXPECT_EQ(take(), Lines{rc_call("stop")});
    EXPECT_EQ(read_package("auto_wan"), auto_wan);
}

TEST_F(LinkAggregationTest, KernelKnowsTheSlavesThatThePackageHasLost) {
    write_package("kernel", "eth2 eth3\r\nrest");
    const auto path = folder() + "/kernel";
    uplink_surroundings.bond_slaves = path.c_str();
    write_package("network",
                  "config device 'br_lan'\n\tlist ports 'eth0'\n"
                  "config interface 'la'\n\toption proto 'bonding'\n");
    ASSERT_EQ(call("link_aggregation_del_no_commit"), success());
    EXPECT_EQ(values("network", "ports"), (Names{"eth0", "eth2", "eth3"}));
}

TEST_F(LinkAggregationTest, GetReportsTheBondInItsOwnWords) {
    const BusReply none{0, R"({"result":0,"has_link_aggregation":0})"};
    EXPECT_EQ(call("link_aggregation_get"), none);
    ASSERT_EQ(set(R"("eth1","eth2")", R"(,"tlb_dynamic_lb":"1","primary":"eth2")"), success());
    EXPECT_EQ(call("link_aggregation_get", R"({"slaves":[1]})").text,
              R"({"binding_policy":"4","convergence_select_ports":["2","3"],"primary":"eth2",)"
              R"("tlb_dynamic_lb":"1","result":0,"has_link_aggregation":1})");
    ASSERT_TRUE(wait_for(kLastReload));

    const auto stored = [this](const std::string& options) {
        write_package("network", "config interface 'la'\n\toption proto 'bonding'\n" + options);
        return call("link_aggregation_get").text;
    };
    EXPECT_EQ(stored("option bonding_policy balance-alb\noption slaves 'eth0 usb1 ethx eth-3x'\n"
                     "list primary eth1\n"),
              R"({"binding_policy":"6","convergence_select_ports":["1","-2"],)"
              R"("result":0,"has_link_aggregation":1})");
    EXPECT_EQ(stored("option bonding_policy unheard-of\n"),
              R"({"result":0,"has_link_aggregation":1})");
    EXPECT_EQ(stored("option slaves 'usb0 eth99999999999'\n"),
              R"({"convergence_select_ports":[],"result":0,"has_link_aggregation":1})");
    write_package("network", "config interface 'la'\n\toption proto 'static'\n");
    EXPECT_EQ(call("link_aggregation_get"), none);
    write_package("network", "config device 'la'\n\toption proto 'bonding'\n");
    EXPECT_EQ(call("link_aggregation_get"), none);
    write_package("network", "config \"broken");
    EXPECT_EQ(call("link_aggregation_get"), none);
}

// No name is put into a shell line before it has passed this.
TEST(InterfaceName, IsWhatNoShellReadsAnythingInto) {
    for (const char* name : {"eth0", "a", "wan1.45_x-Y", "name_of_15_char"})
        EXPECT_TRUE(is_interface_name(name)) << name;
    for (const char* name :
         {"", "eth0;reboot", "eth0\nreboot", "eth0 x", "eth$(reboot)", "eth`x`", "eth0&x", "eth'x",
          "eth\"x", "eth/x", "eth\\x", "eth*", "eth|x", "eth\xc3\xa9", "name_of_16_chars"})
        EXPECT_FALSE(is_interface_name(name)) << name;
}

TEST_F(LinkAggregationTest, BondMadeMeanwhileKeepsTheDetectionOff) {
    have_bond();
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_EQ(set(), success());
    ASSERT_TRUE(wait_for(rc_call("disable"), 2));
    ASSERT_TRUE(wait_for(kLastReload, 2));
    const auto lines = take();
    EXPECT_EQ(std::ranges::count(lines, rc_call("start")), 0);
    EXPECT_EQ(std::ranges::count(lines, rc_call("stop")), 3);
}

TEST_F(LinkAggregationTest, BusWithoutDetectionServiceIsNoFailure) {
    use_bus(nullptr);
    have_bond();
    use_bus(&bus);
    recording_commands::without_rc();
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_TRUE(wait_for(kLastReload));
    uloop_run_timeout(50);
    EXPECT_EQ(connections_made(), 3);
}

// Requests come while workers sleep, run their lines and read the packages.
TEST_F(LinkAggregationTest, RequestsAndWorkersOverlap) {
    for (int round = 0; round < 3; ++round) {
        take();
        ASSERT_EQ(set(R"("eth0","eth1")"), success());
        ASSERT_EQ(set(R"("eth2","eth3")"), success());
        ASSERT_EQ(call("link_aggregation_del"), success());
        ASSERT_EQ(set(R"("eth1","eth2")"), success());
        ASSERT_TRUE(wait_for("ifup la 2>/dev/null"));
        ASSERT_EQ(call("link_aggregation_del"), success());  // while the others sleep
        ASSERT_EQ(call("uplink_mode_set", R"({"mode":"2"})"), success());
        ASSERT_TRUE(wait_for(kLastReload, 5));
        ASSERT_TRUE(removal_is_applied());
        EXPECT_EQ(values("network", "ports").size(), 4u);
        EXPECT_EQ(call("link_aggregation_get").text, R"({"result":0,"has_link_aggregation":0})");
    }
}

TEST_F(LinkAggregationTest, RequestDoesNotWaitForAWorker) {
    using Clock = std::chrono::steady_clock;
    recording_commands::on_line([](const std::string& line) {
        if (line.ends_with("reload")) std::this_thread::sleep_for(std::chrono::milliseconds(300));
    });
    const auto start = Clock::now();
    ASSERT_EQ(set(), success());
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_EQ(set(), success());
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(300));
    ASSERT_TRUE(wait_for(kLastReload, 3));
}

}  // namespace
