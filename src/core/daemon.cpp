#include "core/daemon.h"

#include <csignal>
#include <cstdio>

extern "C" {
#include <libubox/uloop.h>
#include <libubus.h>
}

#include "zu_ipc.h"

namespace {

/// The process's one connection to the bus, for as long as it lives.
ubus_context* bus;

/// False as soon as an object that the daemon cannot do without is refused.
bool publish(std::span<const PublishedObject> objects) {
    for (const auto& [object, optional] : objects) {
        if (ubus_add_object(bus, object) == 0) continue;
        if (!optional) return false;
        std::printf("Failed to add %s ubus object, continuing anyway\n", object->name);
    }
    return true;
}

void set_termination(int how) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(how, &signals, nullptr);
}

/// The loop forgets a signal that arrives before it runs: those that end the daemon are held back
/// until the loop itself lets them through.
class TerminationHold {
  public:
    TerminationHold() {
        set_termination(SIG_BLOCK);
        first_event_.cb = [](uloop_timeout*) { set_termination(SIG_UNBLOCK); };
        uloop_timeout_set(&first_event_, 0);
    }
    ~TerminationHold() {
        uloop_timeout_cancel(&first_event_);
        set_termination(SIG_UNBLOCK);
    }
    TerminationHold(const TerminationHold&) = delete;
    TerminationHold& operator=(const TerminationHold&) = delete;

  private:
    uloop_timeout first_event_{};
};

}  // namespace

int run_daemon(std::span<const StartupStep> steps, std::span<const PublishedObject> objects) {
    for (const StartupStep step : steps)
        step();

    // Whoever starts a child here waits for it: neither the loop nor, where the signal is inherited
    // as ignored, the kernel may collect it first.
    uloop_handle_sigchld = false;
    std::signal(SIGCHLD, SIG_DFL);
    uloop_init();
    const TerminationHold hold;
    zu_owal_ipc_serve();
    bus = ubus_connect(nullptr);
    if (!bus) {
        std::fprintf(stderr, "appcfgd: no ubus to connect to, is ubusd running?\n");
        return 0;
    }
    uloop_fd_add(&bus->sock, ULOOP_READ | ULOOP_BLOCKING);
    if (!publish(objects)) return 0;

    uloop_run_timeout(-1);
    ubus_free(bus);
    uloop_done();
    return 0;
}
