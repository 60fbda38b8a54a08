#include "startup.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "stopwatch.h"

namespace {

long private_kib(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/smaps_rollup";
    std::FILE* file = std::fopen(path.c_str(), "re");
    if (!file) return -1;
    long total = 0, kib = 0;
    for (char line[256]; std::fgets(line, sizeof(line), file);)
        if (std::sscanf(line, "Private_Clean: %ld", &kib) == 1 ||
            std::sscanf(line, "Private_Dirty: %ld", &kib) == 1)
            total += kib;
    std::fclose(file);
    return total;
}

}  // namespace

Startup start_and_end(BusClient& bus, const char* const* argv, const char* object) {
    const Stopwatch watch;
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, const_cast<char* const*>(argv), environ)) {
        std::perror(argv[0]);
        std::exit(1);
    }
    bus.wait_for(object, true);
    const Startup result{.microseconds = watch.microseconds(), .private_kib = private_kib(pid)};
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    bus.wait_for(object, false);
    return result;
}
