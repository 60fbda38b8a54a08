extern "C" {
#include <libubox/uloop.h>
}

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/standard_descriptors.h"
#include "platform/linux/enforce/applier.h"
#include "platform/linux/ipc_server.h"
#include "platform/linux/platformd/answer.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/platformd/memory.h"
#include "platform/linux/platformd/rc.h"
#include "platform/linux/run_directory.h"

namespace platform::platformd {

namespace {

constexpr int kUsageStatus = 2;

struct Options {
    const char* init_directory = "/etc/init.d";
    const char* bus_socket = nullptr;
    bool enforce = false;
};

void print_usage() {
    fputs(
        "usage: platformd [-e] [-d RUN_DIRECTORY] [-i INIT_DIRECTORY] [-s BUS_SOCKET]\n"
        "Answers the gateway's platform calls and keeps what the services would hold; with -e the\n"
        "kernel does as they say.\n",
        stderr);
}

bool parse(int argc, char** argv, Options& options) {
    int option;
    while ((option = getopt(argc, argv, "d:ei:s:")) != -1) {
        if (option == 'e')
            options.enforce = true;
        else if (option == 'i')
            options.init_directory = optarg;
        else if (option == 's')
            options.bus_socket = optarg;
        else if (option != 'd' || !set_run_directory(optarg))
            return false;
    }
    return optind == argc;
}

std::vector<const char*> all_names() {
    std::vector<const char*> names(control_names().begin(), control_names().end());
    for (const auto& callee : all_callees())
        names.push_back(callee.name);
    return names;
}

// Whatever is missing, calls are answered. The kernel is left alone until the states are what they
// were when the last platformd ended.
void enforce_states() {
    std::string error;
    memory_restore();
    if (enforce::start(error)) return;
    fprintf(stderr, "platformd: nothing is enforced, only remembered: %s\n", error.c_str());
}

}  // namespace

}  // namespace platform::platformd

using namespace platform;
using namespace platform::platformd;

int main(int argc, char** argv) {
    base::occupy_standard_descriptors();
    signal(SIGHUP, SIG_IGN);  // a service outlives the terminal it was started from
    Options options;
    if (!parse(argc, argv, options)) {
        print_usage();
        return kUsageStatus;
    }
    if (!gather_callees() || uloop_init() != 0) return EXIT_FAILURE;
    const auto names = all_names();
    if (!ipc_server_start(".platformd", names, answer_call)) {
        fprintf(stderr, "platformd: cannot serve in %s/zu_ipc, or another one does\n",
                run_directory());
        return EXIT_FAILURE;
    }
    if (options.enforce) enforce_states();
    rc_start(options.init_directory, options.bus_socket);
    uloop_run();
    rc_stop();
    enforce::settle();
    enforce::stop();
    ipc_server_stop();
    uloop_done();
    return EXIT_SUCCESS;
}
