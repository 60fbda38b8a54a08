#pragma once

#include <cstdint>
#include <span>

struct ubus_object;

// The life of the process: replay the stored configuration, go on the bus, serve.

namespace appcfg {

/// One step on the way to the bus. What it returns is not looked at: a module that cannot start
/// must not keep the others from their configuration, and says itself what went wrong.
using StartupStep = int32_t (*)();

struct PublishedObject {
    ubus_object* object;
    /// The daemon serves without it; without any of the others it ends.
    bool optional = false;
};

/// Runs `steps` in order, offers `objects` in order and serves them until told to stop (SIGTERM,
/// SIGINT). When the bus ends meanwhile, it offers them again, in order and without a replay, as
/// soon as there is a bus; one of them refused then ends the daemon as it does at the start. Always
/// returns 0, the exit status: the process supervisor restarts the daemon whatever the reason.
/// Without a bus at the start it says so on standard error and returns at once. Sets how the
/// process takes signals, and standard output to lines.
int run_daemon(std::span<const StartupStep> steps, std::span<const PublishedObject> objects);

}  // namespace appcfg
