#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <csignal>
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
    /// The manager is a script, whose output is the file `noted`.
    void have_manager(const std::string& script) {
        write_package("manager", "#!/bin/sh\nexec >" + folder() + "/noted\n" + script + "\n");
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
    have_manager("echo started");
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
    EXPECT_EQ(backup(), failure(-1, "WAN backup is configurable only in gateway mode"));
    write_package("custom", "config custom_page custom_page\n\toption wan_backup_enable 10\n");
    EXPECT_EQ(backup(), failure(-1, "WAN backup capability is disabled"));
    EXPECT_EQ(read_package("noted"), "");
}

TEST_F(WanBackupTest, OnlyExitStatusZeroIsSuccess) {
    const auto refusal = failure(-1, "Failed to persist WAN backup configuration");
    EXPECT_EQ(backup(), refusal);  // there is no manager
    for (const char* script : {"exit 127", "kill -9 $$"}) {
        have_manager(script);
        EXPECT_EQ(backup(), refusal) << script;
    }
    write_package("manager", "no program");  // may be executed, but cannot be
    EXPECT_EQ(backup(), refusal);
}

TEST_F(WanBackupTest, ManagerInheritsNeitherDescriptorsNorSignals) {
    have_manager("readlink /proc/$$/fd/*; exec grep -E '^Sig(Blk|Ign)' /proc/self/status");
    const int leaky = open((folder() + "/custom").c_str(), O_RDONLY);
    ASSERT_GE(leaky, 0);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto handler = std::signal(SIGHUP, SIG_IGN);
    const auto reply = backup();
    std::signal(SIGHUP, handler);
    pthread_sigmask(SIG_SETMASK, &before, &after);
    close(leaky);
    ASSERT_EQ(reply, success());
    const auto text = read_package("noted");
    EXPECT_NE(text.find("/noted\n"), text.npos) << text;
    for (const char* leak : {"/custom", "eventpoll"})
        EXPECT_EQ(text.find(leak), text.npos) << text;
    EXPECT_TRUE(text.ends_with("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n")) << text;
    EXPECT_EQ(sigismember(&after, SIGTERM) - sigismember(&after, SIGINT), 1);
}

// Signals of others neither end the wait early nor is the status taken by the event loop.
TEST_F(WanBackupTest, WaitIsNotDisturbed) {
    have_manager("sleep 0.2; exit 0");
    struct sigaction alarm {};
    alarm.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGALRM, &alarm, &before);
    const itimerval often{{0, 10'000}, {0, 10'000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto reply = backup();
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(reply, success());
    uloop_run_timeout(10);
    EXPECT_EQ(backup(), success());
}

}  // namespace
