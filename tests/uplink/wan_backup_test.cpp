#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>

#include "uplink/uplink_test.h"

namespace {

constexpr char kNotPersisted[] = "Failed to persist WAN backup configuration";

struct WanBackupTest : UplinkTest {
    WanBackupTest() {
        write_package("custom", "config custom_page 'custom_page'\n\toption wan_backup_enable 1\n");
        have_mode("0");
        have_manager("echo \"$#:$*\" >OUT");
        uplink_surroundings.wan_backup_manager = path_.c_str();
    }

    void have_mode(const std::string& mode) {
        write_package("device_mode_manager",
                      "config device_mode_manager 'device_mode_manager'\n\toption mode " + mode);
    }
    /// The manager is a script; OUT is a file that `noted` reads.
    void have_manager(std::string script) {
        for (std::string::size_type at; (at = script.find("OUT")) != script.npos;)
            script.replace(at, 3, folder() + "/noted");
        write_package("manager", "#!/bin/sh\n" + script + "\n");
        chmod(path_.c_str(), 0755);
    }
    std::string noted() const { return read_package("noted"); }

    static BusReply backup(const std::string& enable, const std::string& fixed,
                           const std::string& primary, const std::string& second,
                           const std::string& active) {
        return call("wan_backup_set", R"({"enable":")" + enable + R"(","fixed_port":")" + fixed +
                                          R"(","primary_port":")" + primary +
                                          R"(","backup_port":")" + second + R"(","active_port":")" +
                                          active + "\"}");
    }

  private:
    std::string path_ = folder() + "/manager";
};

TEST_F(WanBackupTest, ArgumentsAreCheckedFirst) {
    have_mode("1");
    for (
        const char* missing :
        {"{}", R"({"enable":"1","fixed_port":"1","primary_port":"1","backup_port":"2"})",
         R"({"enable":1,"fixed_port":"1","primary_port":"1","backup_port":"2","active_port":"1"})"})
        EXPECT_EQ(call("wan_backup_set", missing), failure(-3, "Missing WAN backup parameter"));
    const auto invalid = failure(-3, "Invalid WAN backup parameter");
    for (const char* enable : {"", "2", "01", "true"})
        EXPECT_EQ(backup(enable, "1", "1", "2", "1"), invalid) << enable;
    for (const char* port : {"", "0", "5", "01", "1 ", "12", "$(reboot)"}) {
        EXPECT_EQ(backup("0", port, "1", "2", "1"), invalid) << port;
        EXPECT_EQ(backup("0", "1", port, "2", "1"), invalid) << port;
        EXPECT_EQ(backup("0", "1", "1", port, "1"), invalid) << port;
        EXPECT_EQ(backup("0", "1", "1", "2", port), invalid) << port;
    }
    const auto pair = failure(-3, "Invalid WAN backup port pair");
    EXPECT_EQ(backup("1", "1", "1", "1", "1"), pair);
    EXPECT_EQ(backup("1", "1", "1", "2", "3"), pair);
    EXPECT_EQ(backup("1", "1", "1", "2", "2"),
              failure(-1, "WAN backup is configurable only in gateway mode"));
    EXPECT_EQ(noted(), "");
}

TEST_F(WanBackupTest, GatewayMustOfferItAndBeInGatewayMode) {
    const auto outside = failure(-1, "WAN backup is configurable only in gateway mode");
    have_mode("2");
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), outside);
    write_package("device_mode_manager", "config \"broken");
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), outside);
    const auto disabled = failure(-1, "WAN backup capability is disabled");
    write_package("custom", "config custom_page 'custom_page'\n");
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), disabled);
    write_package("custom", "config custom_page 'custom_page'\n\toption wan_backup_enable 10\n");
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), disabled);
    EXPECT_EQ(noted(), "");
}

TEST_F(WanBackupTest, OnlyExitStatusZeroIsSuccess) {
    const auto refusal = failure(-1, kNotPersisted);
    for (const char* script : {"exit 1", "exit 127", "kill -9 $$"}) {
        have_manager(script);
        EXPECT_EQ(backup("0", "1", "1", "2", "1"), refusal) << script;
    }
    write_package("manager", "no program");  // may be executed, but cannot be
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), refusal);
    uplink_surroundings.wan_backup_manager = "/nowhere";
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), refusal);
}

TEST_F(WanBackupTest, ManagerInheritsNoDescriptor) {
    have_manager("readlink /proc/$$/fd/* >OUT; exit 0");
    const int leaky = open((folder() + "/custom").c_str(), O_RDONLY);
    ASSERT_GE(leaky, 0);
    ASSERT_EQ(backup("0", "1", "1", "2", "1"), success());
    close(leaky);
    EXPECT_NE(noted().find("/noted"), std::string::npos) << noted();
    EXPECT_EQ(noted().find("/custom"), std::string::npos) << noted();
    EXPECT_EQ(noted().find("eventpoll"), std::string::npos) << noted();
}

TEST_F(WanBackupTest, ManagerStartsWithSignalsAsAProgramExpectsThem) {
    have_manager("exec grep -E '^Sig(Blk|Ign)' /proc/self/status >OUT");
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto handler = std::signal(SIGHUP, SIG_IGN);
    const auto reply = backup("0", "1", "1", "2", "1");
    std::signal(SIGHUP, handler);
    pthread_sigmask(SIG_SETMASK, &before, &after);
    ASSERT_EQ(reply, success());
    EXPECT_EQ(noted(), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    EXPECT_EQ(sigismember(&after, SIGTERM), 1);
    EXPECT_EQ(sigismember(&after, SIGINT), 0);
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
    const auto reply = backup("0", "1", "1", "2", "1");
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(reply, success());
    uloop_run_timeout(10);
    EXPECT_EQ(backup("0", "1", "1", "2", "1"), success());
}

}  // namespace
