#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/standard_descriptors.h"
#include "platform/linux/audit_line.h"
#include "platform/linux/daemon_chains.h"
#include "platform/linux/platformd/callees.h"
#include "qos/startup/startup.h"
#include "replay/privacy.h"
#include "startup.h"
#include "vsuci.h"

// What the daemon's tables ask for: its own start-up, played into the services' own code, apart
// from the gateway's network and files. Needs neither bus nor platform, changes nothing.

namespace replay {

using namespace platform;

namespace {

constexpr int kUsageStatus = 2;
/// Whatever hangs, nobody waits longer.
constexpr unsigned kLongestSeconds = 30;

// What modules and tools print is about a network that does not exist.
int take_output() {
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    return output;
}

// Connections that a firewall hands to its fast path pass no rule and no queue any more.
void append_warnings(std::string& out) {
    for (const char* option : {"flow_offloading", "flow_offloading_hw"})
        if (vsuci_get_int32("firewall", "@defaults[0]", option) == 1)
            append_audit_line(out, kAuditWarning, "enforcement",
                              std::string("firewall's ") + option +
                                  " is on: running connections pass all rules and queues");
}

void play(bool with_qos) {
    for (const auto step : startup_steps())
        step();
    if (with_qos) appcfg::qos::libqos_init();
}

bool write_all(int output, std::string_view text) {
    while (!text.empty()) {
        const auto size = write(output, text.data(), text.size());
        if (size <= 0) return false;
        text.remove_prefix(static_cast<size_t>(size));
    }
    return true;
}

}  // namespace

}  // namespace replay

using namespace platform;
using namespace replay;

int main(int argc, char** argv) {
    base::occupy_standard_descriptors();
    const bool with_qos = argc == 2 && strcmp(argv[1], "-q") == 0;
    if (argc > 1 && !with_qos) {
        fputs(
            "usage: appcfgd-replay [-q]\n"
            "Prints what the daemon's tables ask of the platform, with -q QoS, too; part of\n"
            "platformctl audit.\n",
            stderr);
        return kUsageStatus;
    }
    alarm(kLongestSeconds);
    if (!retreat()) {
        fprintf(stderr, "appcfgd-replay: no network and files of its own: %s\n", strerror(errno));
        return EXIT_FAILURE;
    }
    const int output = take_output();
    if (!platformd::gather_callees()) return EXIT_FAILURE;
    play(with_qos);
    std::string text;
    platformd::append_told(text);
    append_daemon_chains(text);
    append_warnings(text);
    return write_all(output, text) ? EXIT_SUCCESS : EXIT_FAILURE;
}
