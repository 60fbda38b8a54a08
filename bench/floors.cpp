#include "floors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "stopwatch.h"
#include "zu_ipc.h"

namespace {
constexpr char kFolder[] = "/etc/config";
constexpr char kFile[] = "/etc/config/.bench";
constexpr char kNewFile[] = "/etc/config/.bench-new";

[[noreturn]] void give_up(const char* what) {
    std::perror(what);
    std::exit(1);
}
}  // namespace

double durable_replacement(size_t size) {
    const std::vector<char> text(size, 'x');
    const Stopwatch watch;
    const int file = open(kNewFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || write(file, text.data(), size) != static_cast<ssize_t>(size) ||
        fsync(file) != 0 || close(file) != 0 || rename(kNewFile, kFile) != 0)
        give_up(kNewFile);
    const int folder = open(kFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0 || fsync(folder) != 0) give_up(kFolder);
    close(folder);
    return watch.microseconds();
}

double platform_round_trip() {
    uint32_t directions = 0;
    const Stopwatch watch;
    if (zu_ipc_call("zu_zu_sal_ipfilter_flush_chain_call", &directions, sizeof(directions)) != 0)
        give_up("platform");
    return watch.microseconds();
}
