#include "core/daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <vector>

extern "C" {
#include <libubox/uloop.h>
#include <libubus.h>
}

#include "support/recording_bus.h"

namespace {

int added = 0;
int number_refused = 0;

}  // namespace

// It stands before the library's own.
extern "C" int ubus_add_object(ubus_context*, ubus_object*) {
    return ++added == number_refused;
}

namespace {

std::vector<int> steps_taken;
template <int Number, int Result>
int32_t step() {
    steps_taken.push_back(Number);
    return Result;
}

struct DaemonTest : testing::Test {
    DaemonTest() {
        EXPECT_EQ(pipe(ends), 0);
        context.sock.fd = ends[0];
        context.sock.cb = [](uloop_fd*, unsigned int) {};
        use_bus(&context);
        added = number_refused = 0;
        steps_taken.clear();
    }
    ~DaemonTest() override {
        use_bus(nullptr);
        close(ends[0]);
        close(ends[1]);
    }

    /// Runs the daemon on three objects, the last one optional, and ends its loop at once.
    int run() {
        const appcfg::StartupStep steps[] = {step<1, -1>, step<2, 0>, step<3, 1>};
        ubus_object object{.name = "any"};
        const appcfg::PublishedObject objects[] = {{&object}, {&object}, {&object, true}};
        uloop_timeout end{};
        end.cb = [](uloop_timeout*) { uloop_end(); };
        uloop_init();
        uloop_timeout_set(&end, 0);
        const int status = appcfg::run_daemon(steps, objects);
        uloop_timeout_cancel(&end);
        uloop_done();
        return status;
    }

    int ends[2] = {};
    ubus_context context{};
};

TEST_F(DaemonTest, StepsRunInOrderWhateverTheyReturn) {
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(steps_taken, (std::vector{1, 2, 3}));
    EXPECT_EQ(added, 3);
    EXPECT_EQ(fcntl(ends[0], F_GETFL) & O_NONBLOCK, 0);  // replies wait for room
    EXPECT_EQ(connections_freed(), 1);
}

TEST_F(DaemonTest, SignalsAreNotHeldBackAnyMoreWhereItEndsAtOnce) {
    const auto holds_back_termination = [] {
        sigset_t blocked;
        sigprocmask(SIG_BLOCK, nullptr, &blocked);
        return sigismember(&blocked, SIGTERM) || sigismember(&blocked, SIGINT);
    };
    number_refused = 2;
    run();
    EXPECT_EQ(added, 2);
    EXPECT_EQ(connections_freed(), 1);
    EXPECT_FALSE(holds_back_termination());
    use_bus(nullptr);
    run();
    EXPECT_FALSE(holds_back_termination());
}

}  // namespace
