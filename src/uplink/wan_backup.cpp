#include "uplink/wan_backup.h"

#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "uplink/uplink_answers.h"
#include "uplink/uplink_testing.h"
#include "vsuci.h"

namespace appcfg::uplink {
namespace {

constexpr int kCannotExecute = 127;

bool is_flag(std::string_view text) {
    return text == "0" || text == "1";
}

bool is_port(std::string_view text) {
    return text.size() == 1 && text[0] >= '1' && text[0] <= '4';
}

bool same(const char* a, const char* b) {
    return std::strcmp(a, b) == 0;
}

Outcome check(const WanBackup& b) {
    if (!b.enable || !b.fixed_port || !b.primary_port || !b.backup_port || !b.active_port)
        return refused("Missing WAN backup parameter");
    if (!is_flag(b.enable) || !is_port(b.fixed_port) || !is_port(b.primary_port) ||
        !is_port(b.backup_port) || !is_port(b.active_port))
        return refused("Invalid WAN backup parameter");
    if (same(b.enable, "0")) return {};
    const bool active_is_one =
        same(b.active_port, b.primary_port) || same(b.active_port, b.backup_port);
    if (same(b.primary_port, b.backup_port) || !active_is_one)
        return refused("Invalid WAN backup port pair");
    return {};
}

bool reads(const char* package, const char* section, const char* option, const char* wanted) {
    char value[8];
    return vsuci_get(package, section, option, value, sizeof(value)) == 0 && same(value, wanted);
}

/// Becomes the program, with no descriptor of ours but the standard ones and signals as a program
/// expects them. The process is a copy of one with several threads: only calls that are allowed in
/// a signal handler are safe here.
[[noreturn]] void become(const char* program, const char* const argv[], int descriptors) {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        sigaction(signal, &standard, nullptr);
    if (syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0) != 0)
        for (int fd = STDERR_FILENO + 1; fd < descriptors; ++fd)
            close(fd);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execv(program, const_cast<char* const*>(argv));
    _exit(kCannotExecute);
}

/// Until the child has become the program, no signal must run a handler of ours in it.
pid_t start(const char* program, const char* const argv[]) {
    const auto descriptors = static_cast<int>(sysconf(_SC_OPEN_MAX));
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = fork();
    if (child == 0) become(program, argv, descriptors);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

/// Nobody else collects the child: the event loop does so only between two requests.
bool succeeds(pid_t child) {
    int status;
    pid_t ended;
    do
        ended = waitpid(child, &status, 0);
    while (ended < 0 && errno == EINTR);
    return ended == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool stage(const WanBackup& b) {
    const char* program = surroundings.wan_backup_manager;
    if (access(program, X_OK) != 0) return false;
    const char* const argv[] = {"wan_backup_manager", "stage",       b.enable,      b.fixed_port,
                                b.primary_port,       b.backup_port, b.active_port, nullptr};
    const pid_t child = start(program, argv);
    return child > 0 && succeeds(child);
}

}  // namespace

Outcome wan_backup_set(WanBackup& backup) {
    if (const Outcome checked = check(backup); checked.reason) return checked;
    if (!reads("custom", "custom_page", "wan_backup_enable", "1"))
        return failed("WAN backup capability is disabled");
    if (!reads("device_mode_manager", "device_mode_manager", "mode", "0"))
        return failed("WAN backup is configurable only in gateway mode");
    return stage(backup) ? Outcome{} : failed("Failed to persist WAN backup configuration");
}

}  // namespace appcfg::uplink
