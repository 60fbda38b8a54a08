// The `rc` object on a bus of the test's own, where the broker and the bus's tool are at hand.
#ifdef UBUSD_PATH

#include "platformd_fixture.h"

namespace {

class RcTest : public PlatformdTest {
  protected:
    RcTest() {
        std::filesystem::create_directory(init_directory());
        install("auto_wan", "echo \"$1\" >>\"$0.log\"");
        install("broken", "exit 3");
        install("slow", "sleep 2");
        write_file(init_directory() + "/no_script", "#!/bin/sh\n");
        start_bus();
    }

    void install(const std::string& name, const std::string& script) const {
        const auto path = init_directory() + '/' + name;
        write_file(path, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }

    void start_bus() {
        bus_ = Child::execute({UBUSD_PATH, "-s", socket()});
        ASSERT_TRUE(eventually([this] { return ubus("list rc").out == "rc\n"; }));
    }

    std::string socket() const { return (directory() / "no-bus").string(); }

    Outcome ubus(const std::string& command) const {
        return execute({"/bin/sh", "-c", UBUS_TOOL_PATH " -S -s " + socket() + ' ' + command});
    }

    int init(const std::string& name, const std::string& action) const {
        return ubus("call rc init '{\"name\":\"" + name + "\",\"action\":\"" + action + "\"}'")
            .status;
    }

    Child bus_;
};

TEST_F(RcTest, RunsScriptsAndKeepsWhatTheyLeave) {
    for (const char* action : {"enable", "start", "reload", "stop", "restart"})
        EXPECT_EQ(0, init("auto_wan", action)) << action;
    EXPECT_EQ("enable\nstart\nreload\nstop\nrestart\n",
              read_file(init_directory() + "/auto_wan.log"));
    EXPECT_EQ("rc\n  auto_wan enabled=1 running=1\n", control({"state", "rc"}).out);
    EXPECT_EQ(0, init("auto_wan", "disable"));
    EXPECT_EQ(0, init("auto_wan", "stop"));
    EXPECT_EQ("rc\n  auto_wan enabled=0 running=0\n", control({"state", "rc"}).out);
    EXPECT_TRUE(trace().ends_with("rc auto_wan disable -> 0\nrc auto_wan stop -> 0\n"));
    const auto list = ubus("-S call rc list").out;
    EXPECT_NE(list.npos, list.find("\"auto_wan\":{\"enabled\":false,\"running\":false}")) << list;
    EXPECT_NE(list.npos, list.find("\"broken\"")) << list;
    EXPECT_EQ(list.npos, list.find("no_script")) << list;
}

TEST_F(RcTest, RefusesWhatIsNoScriptOrAction) {
    constexpr int kInvalid = 2, kNotFound = 4, kFailed = 9;
    EXPECT_EQ(kInvalid, init("../init.d/auto_wan", "start"));
    EXPECT_EQ(kInvalid, init("-x", "start"));
    EXPECT_EQ(kInvalid, init("", "start"));
    EXPECT_EQ(kInvalid, init("auto_wan; reboot", "start"));
    EXPECT_EQ(kInvalid, init("auto_wan", "start; reboot"));
    EXPECT_EQ(kInvalid, ubus("call rc init '{\"name\":\"auto_wan\"}'").status);
    EXPECT_EQ(kInvalid, ubus("call rc init '{\"name\":7,\"action\":\"start\"}'").status);
    EXPECT_EQ(kNotFound, init("missing", "start"));
    EXPECT_EQ(kNotFound, init("no_script", "start"));
    EXPECT_EQ(kFailed, init("broken", "enable"));
    EXPECT_EQ("rc\n", control({"state", "rc"}).out);
}

TEST_F(RcTest, SlowScriptHoldsNobodyUpAndABusThatComesBackIsJoined) {
    auto slow = Child::run([this] { init("slow", "start"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(0, init("auto_wan", "start"));
    EXPECT_EQ("rc auto_wan start -> 0\n", trace());
    bus_.end(SIGTERM);
    std::filesystem::remove(socket());
    ASSERT_TRUE(eventually([this] { return trace().ends_with("rc slow start -> 0\n"); }));
    start_bus();
    EXPECT_EQ(0, init("auto_wan", "stop"));
}

}  // namespace

#endif
