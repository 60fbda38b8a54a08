#include <algorithm>
#include <cstring>
#include <thread>

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

struct LinkAggregationTest : UplinkTest {};

TEST_F(LinkAggregationTest, SetStoresTheBondAndLeavesEverythingElse) {
    ASSERT_EQ(set(R"("eth2","eth3")", R"(,"primary":"eth2","lacp_rate":"","ad_select":"count")"),
              success());
    EXPECT_EQ(read_package("network"),
              "\nconfig device 'br_lan'\n"
              "\toption name 'br-lan'\n"
              "\tlist ports 'eth0'\n"
              "\tlist ports 'eth1'\n"
              "\nconfig interface 'lan'\n"
              "\toption device 'br-lan'\n"
              "\nconfig route\n"
              "\toption target '10.0.0.0/8'\n"
              "\tlist via 'a b'\n"
              "\tlist via 'it'\\''s'\n"
              "\nconfig device\n"
              "\toption name 'wan1'\n"
              "\toption ifname 'bond-la'\n"
              "\nconfig device\n"
              "\toption name 'plain'\n"
              "\toption ifname 'eth9'\n"
              "\nconfig device\n"
              "\toption name 'voip'\n"
              "\toption service_mode 'voice'\n"
              "\toption ifname 'bond-la'\n"
              "\nconfig interface 'wan1'\n"
              "\toption device 'wan1'\n"
              "\toption proto 'dhcp'\n"
              "\nconfig interface 'wan2'\n"
              "\toption device 'wan2'\n"
              "\toption proto 'none'\n"
              "\nconfig interface 'wan_section_name_too_long'\n"
              "\toption device 'wan1'\n"
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
              "\toption netmask '255.255.255.0'\n\n");
    EXPECT_EQ(read_package("auto_wan"),
              "\nconfig auto_wan 'auto_wan'\n"
              "\toption current_uplinkid '2'\n"
              "\toption detected_linkid '2'\n"
              "\toption detect_en '0'\n"
              "\toption cfg_mode '1'\n"
              "\toption cfg_linkid '1'\n"
              "\nconfig other\n"
              "\toption kept 'yes'\n\n");
    EXPECT_EQ(read_package("firewall"),
              "\nconfig zone\n"
              "\toption name 'lan'\n"
              "\nconfig zone\n"
              "\toption name 'wan'\n"
              "\tlist network 'wan1 wan2'\n"
              "\tlist network 'la'\n"
              "\nconfig zone\n"
              "\toption name 'wan'\n\n");
    EXPECT_TRUE(wait_for(kLastReload));
}

TEST_F(LinkAggregationTest, WorkersRunTheirLinesInOrder) {
    ASSERT_EQ(set(R"("eth2","usb0")"), success());
    ASSERT_TRUE(wait_for(kLastReload));
    EXPECT_EQ(take(),
              (Lines{rc_call("disable"), rc_call("stop"), release_line("eth2"),
                     "/etc/init.d/network reload", release_line("eth2"), "ifup la 2>/dev/null",
                     "ifup wan1 2>/dev/null", "/etc/init.d/firewall reload",
                     "/etc/init.d/miniupnpd reload", kLastReload}));
    EXPECT_EQ(values("network", "slaves"), (Names{"eth2", "usb0"}));
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_TRUE(removal_is_applied());
    EXPECT_EQ(take(), (Lines{rc_call("stop"), "brctl delif br-lan bond-la 2>/dev/null",
                             join_line("eth0"), join_line("eth3"), join_line("eth1"),
                             join_line("eth2"), "/etc/init.d/network reload",
                             "/etc/init.d/firewall reload", "/etc/init.d/miniupnpd reload",
                             kLastReload, rc_call("enable"), rc_call("start")}));
}

TEST_F(LinkAggregationTest, PortsGoBackToTheBridgeTheyCameFrom) {
    have_bond();
    have_bond(R"("eth0","eth2")");
    EXPECT_EQ(values("network", "ports"), (Names{"eth1", "eth3"}));
    EXPECT_EQ(values("network", "slaves"), (Names{"eth0", "eth2"}));
    ASSERT_EQ(call("link_aggregation_del"), success());
    EXPECT_EQ(values("network", "ports"), (Names{"eth1", "eth3", "eth0", "eth2"}));
    EXPECT_EQ(read_package("network").find("'la'"), std::string::npos);
    EXPECT_EQ(read_package("auto_wan"),
              "\nconfig auto_wan 'auto_wan'\n"
              "\toption cfg_mode '1'\n"
              "\toption cfg_linkid '1'\n"
              "\toption current_uplinkid '-1'\n"
              "\toption detected_linkid '-1'\n"
              "\toption detect_en '1'\n"
              "\nconfig other\n"
              "\toption kept 'yes'\n\n");
    EXPECT_TRUE(removal_is_applied());
}

TEST_F(LinkAggregationTest, SlavesThatAreOneTextAreReplacedToo) {
    write_package("network",
                  "config device 'br_lan'\n\tlist ports 'eth0'\n"
                  "config interface 'la'\n\toption slaves 'eth2 eth3'\n");
    have_bond(R"("eth0","eth3")");
    EXPECT_EQ(values("network", "slaves"), (Names{"eth0", "eth3"}));
    EXPECT_EQ(values("network", "ports"), Names{"eth2"});
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
    testing::internal::CaptureStdout();
    have_bond();
    const std::string p = "[add_la_to_wan_firewall_zone] ";
    auto printed = testing::internal::GetCapturedStdout();
    for (std::string::size_type at; (at = printed.find("cfg0")) != printed.npos;)
        printed.replace(at, std::strlen("cfg000000"), "NAME");
    EXPECT_EQ(printed,
              p + "Start: Adding 'la' interface to wan zone network list\n" + p +
                  "Loading firewall config...\n" + p + "Firewall config loaded successfully\n" + p +
                  "Searching for wan zone...\n" + p + "Found zone: lan (section name: NAME)\n" + p +
                  "Found zone: wan (section name: NAME)\n" + p +
                  "Found wan zone, section name: NAME\n" + p +
                  "Current wan zone network list: wan1 wan2\n" + p +
                  "Adding 'la' to wan zone network list...\n" + p + "uci_add_list returned: 0\n" +
                  p + "Successfully added network option, committing...\n" + p +
                  "uci_commit returned: 0\n" + p + "Completed\n");
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

TEST_F(LinkAggregationTest, DeleteWithoutCommitTouchesTheStoredNetworkOnly) {
    have_bond();
    const auto auto_wan = read_package("auto_wan");
    ASSERT_EQ(call("link_aggregation_del_no_commit"), success());
    EXPECT_EQ(values("network", "ports"), (Names{"eth0", "eth1", "eth2", "eth3"}));
    EXPECT_EQ(read_package("network").find("'la'"), std::string::npos);
    EXPECT_EQ(read_package("auto_wan"), auto_wan);
    ASSERT_EQ(call("link_aggregation_del_no_commit"), success());
    EXPECT_EQ(take(), Lines{});
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

// Whatever a front end or another program writes into a package, it is data.
TEST_F(LinkAggregationTest, HostileNamesNeverReachAShell) {
    write_package("network",
                  "config device 'br_lan'\n\toption name 'br-lan'\n\tlist ports 'eth0'\n"
                  "\tlist ports 'eth1;reboot'\n\tlist ports 'eth$(reboot)'\n"
                  "\tlist ports '../etc'\n\tlist ports 'eth_name_of_16_c'\n"
                  "\tlist ports 'eth1\nreboot'\n"
                  "config interface 'la'\n\toption proto 'bonding'\n"
                  "config interface 'a_much_too_long_name'\n\toption device 'wan1'\n");
    const Lines applied{rc_call("disable"),
                        rc_call("stop"),
                        "/etc/init.d/network reload",
                        "ifup la 2>/dev/null",
                        "/etc/init.d/firewall reload",
                        "/etc/init.d/miniupnpd reload",
                        kLastReload};
    for (const char* slaves :
         {R"("eth0;reboot","eth0\nreboot")", R"~("eth0 $(reboot)","../eth0")~",
          R"("eth`reboot`","eth0&reboot")", R"("eth'x","eth\"x")", R"("eth/x","eth\\x")"}) {
        ASSERT_EQ(set(slaves), success()) << slaves;
        ASSERT_TRUE(wait_for(kLastReload));
        auto lines = take();
        std::erase(lines, release_line("eth0"));
        EXPECT_EQ(lines, applied) << slaves;
    }
    EXPECT_EQ(values("network", "slaves"), (Names{"eth/x", "eth\\x"}));
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_TRUE(removal_is_applied());
    auto lines = take();
    EXPECT_EQ(std::erase(lines, join_line("eth0")), 1u);
    EXPECT_EQ(lines, (Lines{rc_call("stop"), "brctl delif br-lan bond-la 2>/dev/null",
                            "/etc/init.d/network reload", "/etc/init.d/firewall reload",
                            "/etc/init.d/miniupnpd reload", kLastReload, rc_call("enable"),
                            rc_call("start")}));
}

TEST_F(LinkAggregationTest, BondMadeMeanwhileKeepsTheDetectionOff) {
    have_bond();
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_EQ(set(), success());
    ASSERT_TRUE(wait_for(rc_call("disable"), 2));
    ASSERT_TRUE(wait_for(kLastReload, 2));
    const auto lines = take();
    EXPECT_EQ(std::ranges::count(lines, rc_call("start")), 0);
    EXPECT_EQ(lines.back() == rc_call("stop") || lines.back() == kLastReload, true);
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
    recording_commands::reset();
    recording_commands::with_rc_status(7);
    ASSERT_EQ(set(), success());
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_TRUE(wait_for(kLastReload, 2));
    ASSERT_TRUE(removal_is_applied());
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
