#include <sys/stat.h>

#include <array>
#include <cstdio>

#include "uplink/uplink_test.h"

using namespace appcfg;

namespace {

using Texts = std::array<const char*, 5>;

constexpr Texts kGood = {"0", "1", "1", "2", "1"};

struct WanBackupTest : UplinkTest {
    WanBackupTest() {
        write_package("custom", "config custom_page custom_page\n\toption wan_backup_enable 1\n");
        write_package("device_mode_manager",
                      "config device_mode_manager device_mode_manager\n\toption mode 0\n");
        surroundings.wan_backup_manager = path_.c_str();
    }
    void have_manager(const std::string& text) {
        write_package("manager", text);
        chmod(path_.c_str(), 0755);
    }
    /// In the order enable, fixed, primary, backup and active port.
    static BusReply backup(const Texts& texts = kGood) {
        char json[256];
        std::snprintf(json, sizeof(json),
                      R"({"enable":"%s","fixed_port":"%s","primary_port":"%s",)"
                      R"("backup_port":"%s","active_port":"%s"})",
                      texts[0], texts[1], texts[2], texts[3], texts[4]);
        return call("wan_backup_set", json);
    }

  private:
    std::string path_ = folder() + "/manager";
};

TEST_F(WanBackupTest, ArgumentsAreCheckedBeforeTheGateway) {
    write_package("device_mode_manager", "config \"broken");
    EXPECT_EQ(call("wan_backup_set", R"({"enable":"0","fixed_port":"1","primary_port":"1",)"
                                     R"("backup_port":"2","active_port":1})"),
              failure(-3, "Missing WAN backup parameter"));
    for (size_t at = 0; at < kGood.size(); ++at)
        for (const char* text : {"", at ? "0" : "2", "5", "01", "1 ", "12", "$(reboot)"}) {
            Texts texts = kGood;
            texts[at] = text;
            EXPECT_EQ(backup(texts), failure(-3, "Invalid WAN backup parameter")) << at << text;
        }
    EXPECT_EQ(backup({"1", "1", "1", "1", "1"}), failure(-3, "Invalid WAN backup port pair"));
    write_package("custom", "config custom_page custom_page\n\toption wan_backup_enable 10\n");
    EXPECT_EQ(backup(), failure(-1, "WAN backup capability is disabled"));
}

TEST_F(WanBackupTest, OnlyExitStatusZeroIsSuccess) {
    const auto refusal = failure(-1, "Failed to persist WAN backup configuration");
    EXPECT_EQ(backup(), refusal);  // there is no manager
    for (const char* text : {"#!/bin/sh\nexit 127\n", "#!/bin/sh\nkill -9 $$\n", "no program"}) {
        have_manager(text);
        EXPECT_EQ(backup(), refusal) << text;
    }
    have_manager("#!/bin/sh\n");
    EXPECT_EQ(backup(), success());
}

}  // namespace
