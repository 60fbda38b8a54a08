#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "base/child.h"
#include "base/read_all.h"
#include "base/unique_fd.h"
#include "platform/linux/audit_line.h"
#include "platform/linux/control.h"
#include "platform/linux/daemon_chains.h"
#include "platform/linux/platformctl/commands.h"
#include "platform/linux/platformctl/differences.h"

namespace platform::platformctl {

namespace {

constexpr char kReplay[] = "appcfgd-replay";
/// Where audit alone fails, so that no one takes it for a difference.
constexpr int kNoAudit = 3;

constexpr timespec kBetweenAttempts = {.tv_sec = 0, .tv_nsec = 50'000'000};
/// While the kernel is yet to follow.
constexpr int kMaxAttempts = 40;
/// Requests that are under way change one side before the other.
constexpr timespec kBeforeSecondLook = {.tv_sec = 0, .tv_nsec = 300'000'000};

/// A platform that hangs is no reason to hang.
constexpr unsigned kLongestSeconds = 120;

[[noreturn]] void give_up(int) {
    constexpr std::string_view kText = "platformctl: no audit within two minutes\n";
    static_cast<void>(!write(STDERR_FILENO, kText.data(), kText.size()));
    _exit(kNoAudit);
}

struct Options {
    bool json = false;
    const char* service = "";
};

bool parse(Words words, Options& options) {
    for (const char* word : words) {
        if (strcmp(word, "-j") == 0 && !options.json)
            options.json = true;
        else if (*word != '-' && *options.service == '\0')
            options.service = word;
        else
            return false;
    }
    return true;
}

pid_t spawn(const char* path, bool with_qos, int output) {
    const char* const argv[] = {path, with_qos ? "-q" : nullptr, nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t child;
    const int error =
        posix_spawn(&child, path, &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : -1;
}

/// What the tables ask for. It ends by itself, whatever happens.
bool replay(bool with_qos, std::string& asked) {
    const auto path = base::program_beside(kReplay);
    int ends[2];
    if (path.empty() || pipe2(ends, O_CLOEXEC) != 0) return false;
    const base::UniqueFd from(ends[0]);
    base::UniqueFd to(ends[1]);
    const auto child = spawn(path.c_str(), with_qos, to.get());
    to.reset();
    if (child < 0) return false;
    asked = base::read_all(from.get());
    return base::wait(child) == 0;
}

int32_t read_platform(std::string& text) {
    for (int attempt = 0;; ++attempt) {
        const auto result = read_text(kAuditCall, "", text);
        if (result != 0 || !text.starts_with(kAuditWaiting) || attempt == kMaxAttempts)
            return result;
        nanosleep(&kBetweenAttempts, nullptr);
    }
}

/// False after a line on standard error.
bool look(std::vector<Difference>& found) {
    Findings findings;
    if (read_platform(findings.platform) != 0) return complain("platformd does not answer"), false;
    if (!replay(has_played_qos(findings.platform), findings.asked))
        return complain("%s cannot tell what the tables ask for", kReplay), false;
    append_daemon_chains(findings.in_kernel);
    found = differences(findings);
    return true;
}

bool look_at(const char* service, std::vector<Difference>& found) {
    if (!look(found)) return false;
    if (*service)
        std::erase_if(found, [service](const Difference& one) { return one.service != service; });
    return true;
}

}  // namespace

int audit(Words words) {
    Options options;
    std::string state;
    if (!parse(words, options)) return kUsageStatus;
    signal(SIGALRM, give_up);
    alarm(kLongestSeconds);
    if (read_text(kStateCall, options.service, state) == kControlUnknown) {
        complain("there is no service %s", options.service);
        return kNoAudit;
    }
    std::vector<Difference> found;
    if (!look_at(options.service, found)) return kNoAudit;
    if (std::ranges::any_of(found, is_drift)) {
        nanosleep(&kBeforeSecondLook, nullptr);
        if (!look_at(options.service, found)) return kNoAudit;
    }
    for (const auto& difference : found)
        options.json ? print_json(difference) : print_text(difference);
    return std::ranges::any_of(found, is_drift) ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace platform::platformctl
