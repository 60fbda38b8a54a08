#include "platform/linux/process.h"

#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr int kFirstPrivate = STDERR_FILENO + 1;

// The event loop ignores SIGPIPE and whoever called may block signals; both would outlive exec.
void reset_signals() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &standard, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Libraries open files without close-on-exec, and a configuration file's lock must not live on in a
// background script.
void close_private_descriptors() {
    if (syscall(SYS_close_range, kFirstPrivate, ~0U, 0) == 0) return;
    const auto limit = sysconf(_SC_OPEN_MAX);
    for (int fd = kFirstPrivate; fd < limit; ++fd)
        close(fd);
}

}  // namespace

pid_t process_start(const char* const argv[]) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    reset_signals();
    close_private_descriptors();
    execvp(argv[0], const_cast<char* const*>(argv));
    _exit(127);
}

int process_wait(pid_t pid) {
    int status;
    pid_t ended;
    do
        ended = waitpid(pid, &status, 0);
    while (ended < 0 && errno == EINTR);
    return ended == pid ? status : -1;
}
