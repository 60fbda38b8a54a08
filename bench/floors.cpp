#include "floors.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
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

double command(const char* const* argv) {
    posix_spawn_file_actions_t silently;
    posix_spawn_file_actions_init(&silently);
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&silently, fd, "/dev/null", O_WRONLY, 0);
    const Stopwatch watch;
    pid_t pid = 0;
    int status = 0;
    if (posix_spawnp(&pid, argv[0], &silently, nullptr, const_cast<char* const*>(argv), environ) ||
        waitpid(pid, &status, 0) != pid)
        give_up(argv[0]);
    const double spent = watch.microseconds();
    posix_spawn_file_actions_destroy(&silently);
    return spent;
}

double ipc_call(const char* entry, uint32_t record_size) {
    std::vector<char> record(record_size);
    const Stopwatch watch;
    if (zu_ipc_call(entry, record.data(), record_size) != 0) give_up(entry);
    return watch.microseconds();
}

double platform_round_trip() {
    return ipc_call("zu_zu_sal_ipfilter_flush_chain_call", sizeof(uint32_t));
}
