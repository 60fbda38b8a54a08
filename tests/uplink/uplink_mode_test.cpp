#include <algorithm>

#include "uplink/uplink_test.h"

namespace {

using recording_commands::Lines;
using recording_commands::take;

constexpr char kReload[] = "/etc/init.d/auto_wan reload";

struct UplinkModeTest : UplinkTest {
    static BusReply mode(const std::string& arguments) {
        return call("uplink_mode_set", arguments);
    }

    /// The section auto_wan, which comes first.
    std::string detection() const {
        const auto text = read_package("auto_wan");
        return text.substr(0, text.find("\nconfig other"));
    }
};

TEST_F(UplinkModeTest, AutoUplinkArmsTheDetectionWhenABondGoes) {
    have_bond();
    ASSERT_EQ(mode(R"({"mode":"2"})"), success());
    EXPECT_EQ(values("network", "ports"), (Names{"eth0", "eth1", "eth2", "eth3"}));
    EXPECT_EQ(detection(),
              "\nconfig auto_wan 'auto_wan'\n"
              "\toption cfg_linkid '1'\n"
              "\toption cfg_mode '2'\n"
              "\toption current_uplinkid '-1'\n"
              "\toption detected_linkid '-1'\n"
              "\toption detect_en '1'\n");
    ASSERT_TRUE(removal_is_applied());
    const auto lines = take();
    EXPECT_EQ(lines[lines.size() - 2], rc_call("enable"));
    EXPECT_EQ(std::ranges::count(lines, kReload), 0);
}

TEST_F(UplinkModeTest, ArgumentsThatMakeNoSenseChangeNothing) {
    have_bond();
    const auto network = read_package("network");
    const auto auto_wan = read_package("auto_wan");
    EXPECT_EQ(mode("{}"), failure(-3, "Parameter mode is NULL. Please try again."));
    EXPECT_EQ(mode(R"({"mode":1})"), failure(-3, "Parameter mode is NULL. Please try again."));
    for (const char* text : {"", "0", "3", "12", "1 ", "111111111111"})
        EXPECT_EQ(mode(std::string(R"({"port":"1","mode":")") + text + "\"}"),
                  failure(-3, "mode must be '1' (fixed port) or '2' (auto uplink)"))
            << text;
    for (const char* arguments : {R"({"mode":"1"})", R"({"mode":"1","port":""})"})
        EXPECT_EQ(mode(arguments), failure(-3, "port is required for LAN uplink mode"));
    for (const char* text : {"0", "5", "-1", "x", "$(reboot)", "99999999999"})
        EXPECT_EQ(mode(std::string(R"({"mode":"1","port":")") + text + "\"}"),
                  failure(-3, "port must be in range 1-4"))
            << text;
    EXPECT_EQ(read_package("network"), network);
    EXPECT_EQ(read_package("auto_wan"), auto_wan);
    EXPECT_EQ(take(), Lines{});
}

TEST_F(UplinkModeTest, FailureLeavesTheBondRemovedAndSaysWhatFailed) {
    have_bond();
    write_package("auto_wan", "config other\n");
    EXPECT_EQ(mode(R"({"mode":"2"})"), failure(-1, "Failed to set cfg_mode"));
    EXPECT_EQ(read_package("network").find("'la'"), std::string::npos);
    write_package("auto_wan", "config \"broken");
    EXPECT_EQ(mode(R"({"mode":"2"})"), failure(-1, "Failed to load auto_wan config"));
    EXPECT_EQ(read_package("auto_wan"), "config \"broken");
    EXPECT_EQ(take(), Lines{});
}

TEST_F(UplinkModeTest, NetworkThatCannotBeLoadedFailsAfterTheModeIsStored) {
    write_package("network", "config \"broken");
    EXPECT_EQ(mode(R"({"mode":"1","port":"1"})"), failure(-1, "Failed to load network config"));
    EXPECT_NE(detection().find("cfg_linkid '1'"), std::string::npos);
    EXPECT_EQ(read_package("network"), "config \"broken");
}

TEST_F(UplinkModeTest, FullDiskNeverLooksLikeSuccess) {
    const auto auto_wan = read_package("auto_wan");
    {
        FullDisk full;
        EXPECT_EQ(mode(R"({"mode":"1","port":"1"})"),
                  failure(-1, "Failed to load auto_wan config"));
    }
    EXPECT_EQ(read_package("auto_wan"), auto_wan);
    have_bond();
    const auto network = read_package("network");
    {
        FullDisk full;
        EXPECT_EQ(mode(R"({"mode":"2"})"), failure(-1, "Failed to load network config"));
    }
    EXPECT_EQ(read_package("network"), network);
    EXPECT_EQ(take(), Lines{});
}

}  // namespace
