#include "platform/linux/enforce/children.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "base/child.h"
#include "base/clock.h"
#include "base/tokens.h"
#include "base/unique_fd.h"
#include "platform/linux/enforce/applier.h"
#include "platform/linux/platformd/own_files.h"

namespace platform::platformd::enforce {

namespace children {

struct Kept;

struct Watch : uloop_fd {
    Kept* owner;
};

/// When a child is to be started, counts as serving, or is to be killed, whatever comes next.
struct Timer : uloop_timeout {
    Kept* owner;
};

/// A child, from the first wish for it until it has ended and nobody wants it.
struct Kept {
    std::string name;
    std::vector<std::string> wanted;   ///< none: it is to end
    std::vector<std::string> running;  ///< none: it does not run
    base::UniqueFd process;
    Watch watch{};
    Timer timer{};
    bool serves = false;
    bool is_ending = false;
    int64_t started_ms = 0;
    int delay_ms = 0;
    std::string trouble;
};

}  // namespace children

namespace {

using children::Kept;
using children::Timer;
using children::Watch;

constexpr int kSettleMs = 200;
constexpr int kObedienceMs = 2000;
constexpr int kFirstDelayMs = 1000;
constexpr int kLastDelayMs = 60'000;
constexpr std::string_view kFilePrefix = "pid.";

using Words = std::vector<std::string>;

std::map<std::string, Kept, std::less<>> g_children;

std::string file_of(const Kept& child) {
    return std::string(kFilePrefix) + child.name;
}

/// What stays wrong is said once.
void complain(Kept& child, const std::string& trouble) {
    if (trouble != child.trouble)
        fprintf(stderr, "platformd: %s: %s\n", child.name.c_str(), trouble.c_str());
    child.trouble = trouble;
}

/// A number that no other process of this number has had since the machine started; empty when
/// there is no such process.
std::string start_time(pid_t pid) {
    constexpr int kFieldsBehindName = 20;
    char text[1024];
    snprintf(text, sizeof(text), "/proc/%d/stat", pid);
    FILE* file = fopen(text, "re");
    if (!file) return {};
    const auto size = fread(text, 1, sizeof(text), file);
    fclose(file);
    const std::string_view line(text, size);
    base::Tokens fields(line.substr(std::min(line.rfind(')') + 1, size)), " ");
    std::string_view field;
    for (int i = 0; i < kFieldsBehindName; ++i)
        if (!fields.next(field)) return {};
    return std::string(field);
}

bool is_program(const std::string& path) {
    return access(path.c_str(), X_OK) == 0;
}

bool is_installed(const std::string& program) {
    if (program.find('/') != program.npos) return is_program(program);
    const char* path = getenv("PATH");
    base::Tokens folders(path ? path : "", ":");
    for (std::string_view folder; folders.next(folder);)
        if (is_program(std::string(folder) + '/' + program)) return true;
    return false;
}

void send_signal(const Kept& child, int signal) {
    syscall(SYS_pidfd_send_signal, child.process.get(), signal, nullptr, 0);
}

void on_end(uloop_fd* fd, unsigned);
void on_timer(uloop_timeout* timer);

Kept& child_of_name(const std::string& name) {
    auto& child = g_children[name];
    child.name = name;
    child.watch.owner = child.timer.owner = &child;
    child.watch.cb = on_end;
    child.timer.cb = on_timer;
    return child;
}

/// The process number may already be another's: whoever needs to know has to look after this.
bool watch(Kept& child, pid_t pid) {
    child.process.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    child.watch.fd = child.process.get();
    if (child.process && uloop_fd_add(&child.watch, ULOOP_READ) != 0) child.process.reset();
    return static_cast<bool>(child.process);
}

pid_t spawn(const Words& words, base::UniqueFd& gate) {
    std::vector<const char*> argv;
    for (const auto& word : words)
        argv.push_back(word.c_str());
    argv.push_back(nullptr);
    return base::start_held(argv.data(), gate);
}

/// Without the file the next platformd would start a second one beside it.
bool write_file(const Kept& child, pid_t pid) {
    auto text = std::to_string(pid) + ' ' + start_time(pid) + '\n';
    for (const auto& word : child.running)
        text += word + '\n';
    return write_own_file(file_of(child), text);
}

/// Why it could not be started; empty if it was.
std::string try_start(Kept& child) {
    if (!is_installed(child.wanted[0])) return child.wanted[0] + " is not installed";
    base::UniqueFd gate;
    const pid_t pid = spawn(child.wanted, gate);
    child.running = child.wanted;
    if (pid > 0 && watch(child, pid) && write_file(child, pid) && write(gate.get(), "", 1) == 1)
        return {};
    return strerror(errno);
}

void start_later(Kept& child) {
    child.delay_ms = std::clamp(child.delay_ms * 2, kFirstDelayMs, kLastDelayMs);
    uloop_timeout_set(&child.timer, child.delay_ms);
}

void start(Kept& child) {
    child.is_ending = child.serves = false;
    const auto error = try_start(child);
    if (error.empty()) {
        child.started_ms = base::now_ms();
        uloop_timeout_set(&child.timer, kSettleMs);
        return;
    }
    complain(child, error);
    if (child.process) return;
    child.running.clear();
    start_later(child);
}

void end(Kept& child) {
    child.is_ending = true;
    child.serves = false;
    send_signal(child, SIGTERM);
    uloop_timeout_set(&child.timer, kObedienceMs);
    changed();
}

/// One step towards what is wanted, if one is due.
void pursue(Kept& child) {
    if (!child.running.empty()) {
        if (child.running != child.wanted && !child.is_ending) end(child);
    } else if (child.wanted.empty()) {
        uloop_timeout_cancel(&child.timer);
        g_children.erase(std::string(child.name));
    } else if (!child.timer.pending) {
        start(child);
    }
}

void on_timer(uloop_timeout* timer) {
    auto& child = *static_cast<Timer*>(timer)->owner;
    if (child.running.empty()) return pursue(child);
    if (child.is_ending) return send_signal(child, SIGKILL);
    child.serves = true;
    child.trouble.clear();
    changed();
}

// Its exit status is not for us: the event loop collects what has ended, and those of an earlier
// platformd were never ours.
void on_end(uloop_fd* fd, unsigned) {
    auto& child = *static_cast<Watch*>(fd)->owner;
    uloop_fd_delete(&child.watch);
    uloop_timeout_cancel(&child.timer);
    child.process.reset();
    remove_own_file(file_of(child));
    child.running.clear();
    child.serves = false;
    if (!child.is_ending) {
        complain(child, "ended");
        if (base::now_ms() - child.started_ms > kLastDelayMs) child.delay_ms = 0;
        start_later(child);
    }
    pursue(child);
    changed();
}

/// Takes over the child that an earlier platformd has left, if it still runs.
void take_over(const std::string& name) {
    auto& child = child_of_name(name);
    const auto text = read_own_file(file_of(child));
    base::Tokens lines(text, "\n");
    std::string_view first;
    lines.next(first);
    for (std::string_view word; lines.next(word);)
        child.running.emplace_back(word);
    const auto pid = static_cast<pid_t>(strtol(text.c_str(), nullptr, 10));
    child.serves = !child.running.empty() && pid > 0 && watch(child, pid) &&
                   first == std::to_string(pid) + ' ' + start_time(pid);
    child.started_ms = base::now_ms();
    if (child.serves) return;
    if (child.process) uloop_fd_delete(&child.watch);
    remove_own_file(file_of(child));
    g_children.erase(name);
}

/// What runs is known before anything is said or done about it.
void take_over_all() {
    static bool done;
    if (done) return;
    done = true;
    for (const auto& file : own_files(kFilePrefix))
        take_over(file.substr(kFilePrefix.size()));
}

Kept* find(std::string_view name) {
    take_over_all();
    const auto found = g_children.find(name);
    return found == g_children.end() ? nullptr : &found->second;
}

}  // namespace

void keep_children(std::string_view service, const std::vector<Child>& wanted) {
    take_over_all();
    for (auto& [name, child] : g_children)
        if (name.starts_with(service)) child.wanted.clear();
    for (const auto& [name, words] : wanted)
        child_of_name(name).wanted = words;
    for (auto next = g_children.begin(); next != g_children.end();) {
        auto& child = (next++)->second;
        if (child.name.starts_with(service)) pursue(child);
    }
}

bool child_serves(std::string_view name) {
    const auto* child = find(name);
    return child && child->serves;
}

std::string child_trouble(std::string_view name) {
    const auto* child = find(name);
    return child ? child->trouble : "";
}

bool signal_child(std::string_view name, int signal) {
    const auto* child = find(name);
    if (!child || !child->serves) return false;
    send_signal(*child, signal);
    return true;
}

}  // namespace platform::platformd::enforce
