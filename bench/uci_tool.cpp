#include "uci_tool.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "stopwatch.h"

namespace {

constexpr char kBatchFile[] = "/tmp/bench-batch";

void write_batch(const char* batch) {
    std::FILE* file = std::fopen(kBatchFile, "we");
    if (!file || std::fputs(batch, file) < 0 || std::fclose(file) != 0) {
        std::perror(kBatchFile);
        std::exit(1);
    }
}

}  // namespace

double uci_batch(const char* batch) {
    write_batch(batch);
    const char* const argv[] = {"uci", "-q", "-f", kBatchFile, "batch", nullptr};
    const Stopwatch watch;
    pid_t pid = 0;
    int status = -1;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, const_cast<char* const*>(argv), environ) ||
        waitpid(pid, &status, 0) != pid || status != 0) {
        std::fprintf(stderr, "bench: uci failed\n");
        std::exit(1);
    }
    return watch.microseconds();
}
