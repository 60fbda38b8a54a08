#include <algorithm>
#include <atomic>

#include "base/names.h"
#include "uplink/uplink_commands.h"
#include "uplink/uplink_test.h"

using namespace appcfg;

namespace {

using recording_commands::Lines;
using recording_commands::take;
using recording_commands::wait_for;

/// The lines by which a port leaves the bridge, or comes back.
std::string release(const std::string& port) {
    const std::string leave = "brctl delif br-lan " + port + " 2>/dev/null";
    const std::string dev = "ip link set dev " + port;
    return "master=$(readlink -f /sys/class/net/" + port +
           "/master 2>/dev/null); if [ \"${master##*/}\" = \"br-lan\" ]; then " + leave + "; " +
           dev + " nomaster 2>/dev/null; " + dev + " up 2>/dev/null; else " + leave + "; fi";
}
std::string join(const std::string& port) {
    const std::string dev = "ip link set dev " + port;
    return "master=$(readlink -f /sys/class/net/" + port +
           "/master 2>/dev/null); [ \"${master##*/}\" = \"br-lan\" ] || { " + dev +
           " nomaster 2>/dev/null; " + dev + " up 2>/dev/null; brctl addif br-lan " + port +
           " 2>/dev/null; }";
}

struct LinkAggregationTest : UplinkTest {
    static BusReply mode(const std::string& mode, const std::string& port) {
        return call("uplink_mode_set", R"({"mode":")" + mode + R"(","port":")" + port + "\"}");
    }
};

TEST_F(LinkAggregationTest, BondIsBelowEveryKindOfWanDeviceOnlyAlsoWithoutABus) {
    use_bus(nullptr);
    const std::string plain = "\nconfig device\n\toption name 'plain'\n\toption ifname 'eth9'\n";
    const std::string iptv = "\nconfig device\n\tlist IpProtocolType 'ipv4'\n";
    const std::string link = "\nconfig device\n\toption lkname 'link'\n";
    const std::string below = "\toption ifname 'bond-la'\n";
    write_package("network", plain + iptv + link);
    have_bond();
    EXPECT_TRUE(read_package("network").starts_with(plain + iptv + below + link + below));
}

TEST_F(LinkAggregationTest, ReportsWhateverIsStored) {
    const std::string bond = "interface la\n\toption proto bonding\n\toption ";
    const std::string text(255, 'x');
    std::string many, reported = R"("2")";  // as many as 255 characters hold
    for (int i = 0; i < 1000; ++i)
        many += "\nlist slaves eth1";
    for (int i = 1; i < 51; ++i)
        reported += R"(,"2")";
    const std::pair<std::string, std::string> cases[] = {
        {bond + "primary '" + text + "cut'" + many + "\n", R"({"convergence_select_ports":[)" +
                                                               reported + R"(],"primary":")" +
                                                               text + R"(","result)"},
        {bond + "bonding_policy balance-alb\noption slaves 'eth0 usb1 ethx eth-3x'\n",
         R"({"binding_policy":"6","convergence_select_ports":["1","-2"],"result":0,)"},
        {bond + "slaves 'a eth99999999999'\n", R"({"convergence_select_ports":[],"result":0,)"},
    };
    for (const auto& [network, reply] : cases) {
        write_package("network", "config " + network);
        EXPECT_TRUE(call("link_aggregation_get").text.starts_with(reply)) << network;
    }
}

TEST_F(LinkAggregationTest, WorkersRunTheirLinesInOrder) {
    ASSERT_EQ(set(R"("eth2","usb0")"), success());
    ASSERT_TRUE(wait_for(kLastReload));
    EXPECT_EQ(take(), (Lines{rc_call("disable"), rc_call("stop"), release("eth2"),
                             "/etc/init.d/network reload", release("eth2"), "ifup la 2>/dev/null",
                             "ifup wan1 2>/dev/null", "/etc/init.d/firewall reload",
                             "/etc/init.d/miniupnpd reload", kLastReload}));
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_TRUE(wait_for(rc_line("start")));
    EXPECT_EQ(take(),
              (Lines{rc_call("stop"), "brctl delif br-lan bond-la 2>/dev/null", join("eth0"),
                     join("eth3"), join("eth1"), join("eth2"), "/etc/init.d/network reload",
                     "/etc/init.d/firewall reload", "/etc/init.d/miniupnpd reload", kLastReload,
                     rc_line("enable"), rc_line("start")}));
    ASSERT_EQ(call("link_aggregation_del"), success());  // there is no bond any more
    EXPECT_EQ(take(), Lines{rc_call("stop")});
}

TEST_F(LinkAggregationTest, FreedPortsComeFromTheUplinkTheBondBeforeOrTheKernel) {
    const std::pair<std::string, Names> uplinks[] = {
        {"cfg_mode 1\noption cfg_linkid 4\noption current_uplinkid 2", {}},  // a slave now
        {"cfg_mode 2\noption cfg_linkid 1\noption current_uplinkid 2", {"eth1"}},
        {"cfg_mode 1\noption current_uplinkid 2", {"eth1"}},
        {"current_uplinkid -1", {}},
        {"current_uplinkid 99999999999999999999", {"eth2147483646"}},
    };
    for (const auto& [options, freed] : uplinks) {
        write_package("auto_wan", "config auto_wan auto_wan\n\toption " + options);
        write_package("network", "config device\n\toption name 'br-lan'\n");
        have_bond();
        EXPECT_EQ(values("network", "ports"), freed) << options;
    }
    write_package("network", "config device br_lan\nconfig interface la\n\toption slaves 'eth0 a'");
    have_bond();
    EXPECT_EQ(values("network", "slaves"), (Names{"eth2", "eth3"}));
    EXPECT_EQ(values("network", "ports"), Names{"eth0"});

    write_package("kernel", "eth2 eth3\r\nrest");
    const auto path = folder() + "/kernel";
    surroundings.bond_slaves = path.c_str();
    write_package("network", "config device br_lan\nconfig interface la\n");
    ASSERT_EQ(call("link_aggregation_del_no_commit"), success());
    EXPECT_EQ(values("network", "ports"), (Names{"eth2", "eth3"}));
}

TEST_F(LinkAggregationTest, FirstWanZoneGetsLaOnceAndTellsHowToTheLetter) {
    for (const std::string other : {"option network 'wan1 la'\n", "list network la\n", "\"\n"}) {
        write_package("firewall", "config zone\n\toption name wan\n\t" + other);
        have_bond();
        EXPECT_TRUE(read_package("firewall").ends_with(" wan\n\t" + other));
    }
    write_package("firewall",
                  "config zone first\nconfig other\n\toption name wan\n"
                  "config zone second\n\toption name wan\n\toption network 'wan1 la2'\n"
                  "config zone third\n\toption name wan\n");
    std::string expected;
    for (const char* line :
         {"Start: Adding 'la' interface to wan zone network list", "Loading firewall config...",
          "Firewall config loaded successfully", "Searching for wan zone...",
          "Found zone: (null) (section name: first)", "Found zone: wan (section name: second)",
          "Found wan zone, section name: second", "Current wan zone network list: wan1 la2",
          "Adding 'la' to wan zone network list...", "uci_add_list returned: 0",
          "Successfully added network option, committing...", "uci_commit returned: 0",
          "Completed"})
        expected += "[add_la_to_wan_firewall_zone] " + std::string(line) + "\n";
    testing::internal::CaptureStdout();
    have_bond();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
    EXPECT_EQ(values("firewall", "network"), (Names{"wan1 la2", "la"}));
}

TEST_F(LinkAggregationTest, RefusedArgumentsChangeNothing) {
    const auto before = read_package("auto_wan");
    const std::string huge = "\"" + std::string(300, 'e') + R"(","eth1","eth2")";
    for (const auto& slaves : {"", "\"eth1\"", R"("a","b","c")", R"("eth1",2,{"x":"eth2"})",
                               R"("1","2","3","4","5","6","7","8","9")", huge.c_str()})
        EXPECT_EQ(set(slaves), failure(-3, "slaves must contain exactly 2 interfaces")) << slaves;
    EXPECT_EQ(call("link_aggregation_set", R"({"slaves":["eth1","eth2"],"bonding_policy":""})"),
              failure(-3, "bonding_policy is required"));
    EXPECT_EQ(set(R"("eth1","eth2")", R"(,"primary":")" + std::string(256, 'x') + '"'),
              failure(-1, "Failed to set primary"));
    const auto no_mode = failure(-3, "mode must be '1' (fixed port) or '2' (auto uplink)");
    for (const char* text : {"", "0", "3", "12", "1 ", "111111111111"})
        EXPECT_EQ(mode(text, "1"), no_mode) << text;
    EXPECT_EQ(mode("1", ""), failure(-3, "port is required for LAN uplink mode"));
    for (const char* text : {"0", "-1", "x", "$(reboot)", "99999999999"})
        EXPECT_EQ(mode("1", text), failure(-3, "port must be in range 1-4")) << text;
    EXPECT_EQ(read_package("auto_wan"), before);
    EXPECT_EQ(take(), Lines{});
    EXPECT_EQ(set(R"("","")"), failure(-1, "Failed to set slaves"));
    EXPECT_NE(read_package("auto_wan"), before) << "what was stored by then stays";
}

TEST_F(LinkAggregationTest, FullDiskNeverLooksLikeSuccess) {
    have_bond();
    const auto network = read_package("network");
    const auto auto_wan = read_package("auto_wan");
    const auto no_network = failure(-1, "Failed to load network config");
    {
        FullDisk full;
        EXPECT_EQ(set(R"("eth0","eth1")"), failure(-1, "Failed to load auto_wan config"));
        EXPECT_EQ(mode("2", ""), no_network);
        EXPECT_EQ(call("link_aggregation_del"), no_network);
        EXPECT_EQ(call("link_aggregation_del_no_commit"), no_network);
    }
    EXPECT_EQ(read_package("network"), network);
    EXPECT_EQ(read_package("auto_wan"), auto_wan);
    EXPECT_EQ(take(), Lines{rc_call("stop")});
}

// No name is put into a shell line before it has passed this.
TEST(Name, IsWhatNoShellReadsAnythingInto) {
    for (const char* name : {"eth0", "a", "wan1.45_x-Y", "name_of_15_char"})
        EXPECT_TRUE(base::is_interface_name(name)) << name;
    for (const char* name :
         {"", "eth0;reboot", "eth0\nreboot", "eth0 x", "eth$(reboot)", "eth`x`", "eth0&x", "eth'x",
          "eth\"x", "eth/x", "eth\\x", "eth*", "eth|x", "eth\xc3\xa9", "name_of_16_chars"})
        EXPECT_FALSE(base::is_interface_name(name)) << name;
    for (const auto& name : {std::string(), std::string(111, 'x'), std::string("wan;reboot")})
        EXPECT_FALSE(uplink::is_section_name(name)) << name;
}

TEST_F(LinkAggregationTest, RequestsDoNotWaitAndABondMadeMeanwhileKeepsTheDetectionOff) {
    have_bond();
    std::atomic<bool> bonded_again = false;
    recording_commands::on_line([&bonded_again](const std::string& line) {
        if (line == rc_line("enable")) bonded_again.wait(false);
    });
    ASSERT_EQ(call("link_aggregation_del"), success());
    ASSERT_TRUE(wait_for(rc_line("enable")));
    ASSERT_EQ(set(), success());
    bonded_again = true;
    bonded_again.notify_one();
    ASSERT_TRUE(wait_for(rc_line("stop")));
    EXPECT_TRUE(wait_for("ifup la 2>/dev/null"));
    const auto lines = take();
    EXPECT_LT(std::ranges::find(lines, rc_line("start")),
              std::ranges::find(lines, rc_line("stop")));
}

// Requests come while jobs run their lines, sleep and read the packages. However many there are,
// one job runs, and one of each kind waits.
TEST_F(LinkAggregationTest, JobsRunOneByOneAndTheLastStateWins) {
    std::atomic<int> running = 0;
    std::atomic<bool> crowded;
    recording_commands::on_line([&](const std::string& line) {
        if (line != "/etc/init.d/network reload") return;
        EXPECT_EQ(++running, 1);
        crowded.wait(false);
        --running;
    });
    for (int round = 0; round < 3; ++round) {
        take();
        crowded = false;
        ASSERT_EQ(set(R"("eth0","eth1")"), success());
        ASSERT_TRUE(wait_for("/etc/init.d/network reload"));
        for (int i = 0; i < 10; ++i) {
            ASSERT_EQ(call("link_aggregation_del"), success());
            ASSERT_EQ(set(R"("eth1","eth2")"), success());
        }
        crowded = true;
        crowded.notify_one();
        ASSERT_TRUE(wait_for(release("eth2")));
        EXPECT_TRUE(wait_for("brctl delif br-lan bond-la 2>/dev/null")) << "its turn came first";
        ASSERT_EQ(call("link_aggregation_del"), success());
        ASSERT_EQ(mode("2", ""), success());
        finish_jobs();
        EXPECT_TRUE(wait_for(rc_line("start")));
        EXPECT_LE(std::ranges::count(take(), kLastReload), 4);
        EXPECT_EQ(values("network", "ports").size(), 4u);
        EXPECT_NE(read_package("auto_wan").find("detect_en '1'"), std::string::npos);
    }
}

}  // namespace
