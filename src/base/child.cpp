#include "base/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace base {

namespace {

constexpr int kCannotExecute = 127;
constexpr int kFirstPrivate = STDERR_FILENO + 1;

// The event loop ignores SIGPIPE, and whoever started us may have made us ignore SIGHUP; both would
// outlive exec.
void reset_signals() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        sigaction(signal, &standard, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Libraries open files without close-on-exec, and a configuration file's lock must not live on in a
// background script.
void close_private_descriptors(int limit) {
    if (syscall(SYS_close_range, kFirstPrivate, ~0U, 0) == 0) return;
    for (int fd = kFirstPrivate; fd < limit; ++fd)
        close(fd);
}

// A file that only looks like a program is not handed to a shell, as execvp would.
void execute(const char* program, char* const argv[]) {
    if (strchr(program, '/'))
        execv(program, argv);
    else
        execvp(program, argv);
}

// The process is a copy of one that may have several threads: only calls that are allowed in a
// signal handler are safe here.
[[noreturn]] void become(const char* program, const char* const argv[], int descriptors) {
    close_private_descriptors(descriptors);
    reset_signals();
    execute(program, const_cast<char* const*>(argv));
    _exit(kCannotExecute);
}

/// Both ends of a pipe; -1: none.
struct Gate {
    int inner = -1;
    int outer = -1;
};

void pass(const Gate& gate) {
    char byte;
    if (gate.inner < 0) return;
    close(gate.outer);
    if (read(gate.inner, &byte, 1) != 1) _exit(kCannotExecute);
}

// Until the child has become the program, no signal must run a handler of ours in it.
pid_t start_behind(const Gate& gate, const char* const argv[], const char* program) {
    const auto descriptors = static_cast<int>(sysconf(_SC_OPEN_MAX));
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = fork();
    if (child == 0) {
        pass(gate);
        become(program, argv, descriptors);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

}  // namespace

pid_t start(const char* const argv[], const char* program) {
    return start_behind({}, argv, program ? program : argv[0]);
}

pid_t start_held(const char* const argv[], UniqueFd& gate) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    const UniqueFd inner(ends[0]);
    gate.reset(ends[1]);
    return start_behind({ends[0], ends[1]}, argv, argv[0]);
}

int wait(pid_t child) {
    int status;
    pid_t ended;
    do
        ended = waitpid(child, &status, 0);
    while (ended < 0 && errno == EINTR);
    return ended == child ? status : -1;
}

int run(const char* const argv[], const char* program) {
    const pid_t child = start(argv, program);
    return child < 0 ? -1 : wait(child);
}

std::string program_beside(const char* name) {
    char self[PATH_MAX];
    const auto size = readlink("/proc/self/exe", self, sizeof(self));
    const std::string_view path(self, size > 0 ? static_cast<size_t>(size) : 0);
    const auto folder = path.substr(0, path.rfind('/') + 1);
    return folder.empty() ? std::string() : std::string(folder) + name;
}

}  // namespace base
