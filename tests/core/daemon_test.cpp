#include "core/daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

extern "C" {
#include <libubox/uloop.h>
#include <libubus.h>
}

#include "support/recording_bus.h"

namespace {

int added = 0;

ubus_object named_object(const char* name) {
    ubus_object object{};
    object.name = name;
    return object;
}

}  // namespace

// It stands before the library's own.
extern "C" int ubus_add_object(ubus_context*, ubus_object*) {
    ++added;
    return 0;
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
        added = 0;
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
        ubus_object first = named_object("first"), second = named_object("second"),
                    last = named_object("last");
        const appcfg::PublishedObject objects[] = {{&first}, {&second}, {&last, true}};
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

}  // namespace
