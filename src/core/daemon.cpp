#include "core/daemon.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <initializer_list>

extern "C" {
#include <libubox/uloop.h>
#include <libubus.h>
}

#include "zu_ipc.h"

namespace appcfg {
namespace {

// How long to wait before the bus is tried again, in milliseconds; twice as long each time.
constexpr int kFirstRetry = 200;
constexpr int kLongestRetry = 2000;

/// The process's one connection to the bus; null while there is none.
ubus_context* bus;

/// What is put on the bus, and back on it.
std::span<const PublishedObject> offered;

uloop_timeout retry;
int retry_delay;

/// Due as soon as the loop runs.
uloop_timeout loop_runs;

/// False as soon as an object that the daemon cannot do without is refused.
bool publish() {
    for (const auto& [object, optional] : offered) {
        if (ubus_add_object(bus, object) == 0) continue;
        if (!optional) return false;
        std::printf("Failed to add %s ubus object, continuing anyway\n", object->name);
    }
    return true;
}

void try_later() {
    if (retry.pending) return;
    uloop_timeout_set(&retry, retry_delay);
    retry_delay = std::min(2 * retry_delay, kLongestRetry);
}

/// The library tells of the end as often as it meets it, also in the middle of a request: the
/// context may not go yet. Where a hung-up descriptor has left the loop already, nothing else
/// would ever wake the daemon again.
void leave_bus(ubus_context* context) {
    uloop_fd_delete(&context->sock);
    try_later();
}

bool connect() {
    bus = ubus_connect(nullptr);
    if (!bus) return false;
    bus->connection_lost = leave_bus;
    retry_delay = kFirstRetry;
    uloop_fd_add(&bus->sock, ULOOP_READ | ULOOP_BLOCKING);
    return true;
}

/// The numbers that the broker before gave to objects and types mean nothing to this one.
void forget_numbers() {
    for (const auto& [object, optional] : offered) {
        object->id = 0;
        if (object->type) object->type->id = 0;
    }
}

/// A new connection after the first was lost. The platform kept what it was told, so nothing is
/// replayed. Names that others took meanwhile end the daemon, as at its start.
void come_back(uloop_timeout*) {
    if (bus) ubus_free(bus);
    forget_numbers();
    if (!connect()) return try_later();
    if (publish()) return;
    if (bus->sock.eof)
        try_later();
    else
        uloop_end();
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
void hold_termination_until_loop_runs() {
    set_termination(SIG_BLOCK);
    loop_runs.cb = [](uloop_timeout*) { set_termination(SIG_UNBLOCK); };
    uloop_timeout_set(&loop_runs, 0);
}

void handle_signals(std::initializer_list<int> signals, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : signals)
        sigaction(number, &action, nullptr);
}

/// Told to end while no loop would hear it, the daemon ends where it is: nothing that it does
/// leaves halves behind.
void end_at_once(int) {
    _exit(0);
}

/// From here on the daemon ends with status 0 only. Signals that mean nothing to it are caught, not
/// ignored: its children would inherit that.
void prepare_signals() {
    handle_signals({SIGHUP, SIGUSR1, SIGUSR2, SIGPIPE}, [](int) {});
    handle_signals({SIGTERM, SIGINT}, end_at_once);
    // Whoever starts a child here waits for it: neither the loop nor, where the signal is inherited
    // as ignored, the kernel may collect it first.
    uloop_handle_sigchld = false;
    handle_signals({SIGCHLD}, SIG_DFL);
}

void serve() {
    hold_termination_until_loop_runs();
    handle_signals({SIGTERM, SIGINT}, SIG_DFL);  // the loop takes over only what is left to it
    uloop_init();
    retry.cb = come_back;
    zu_owal_ipc_serve();
    if (!connect())
        std::fprintf(stderr, "appcfgd: no ubus to connect to, is ubusd running?\n");
    else if (publish())
        uloop_run_timeout(-1);

    handle_signals({SIGTERM, SIGINT}, end_at_once);
    uloop_timeout_cancel(&retry);
    uloop_timeout_cancel(&loop_runs);
    set_termination(SIG_UNBLOCK);  // also where the loop has not run
    if (bus) ubus_free(bus);
    uloop_done();
}

}  // namespace

int run_daemon(std::span<const StartupStep> steps, std::span<const PublishedObject> objects) {
    prepare_signals();
    // Whoever reads the log reads a pipe: each line is there when it is printed.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    for (const StartupStep step : steps)
        step();
    offered = objects;
    serve();
    return 0;
}

}  // namespace appcfg
