#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "scratch.h"
#include "uci_file.h"

// The system calls that a change is made of: one of them can be made to fail, or be the last thing
// that the process does.

namespace {

enum class Fault { None, Error, Kill };
Fault fault = Fault::None;
int calls_before_fault = 0;

bool is_refused() {
    if (fault == Fault::None || calls_before_fault-- != 0) return false;
    if (fault == Fault::Kill) kill(getpid(), SIGKILL);
    errno = ENOSPC;
    return true;
}

void arm(Fault kind, int calls) {
    fault = kind;
    calls_before_fault = calls;
}

/// False if the change was over before the fault was reached.
bool disarm() {
    fault = Fault::None;
    return calls_before_fault < 0;
}

}  // namespace

extern "C" {
// Takes a text in pieces while nothing is to fail.
ssize_t write(int fd, const void* data, size_t size) {
    const size_t taken = fault == Fault::None ? std::min<size_t>(size, 100) : size;
    return is_refused() ? -1 : syscall(SYS_write, fd, data, taken);
}
int fsync(int fd) {
    return is_refused() ? -1 : static_cast<int>(syscall(SYS_fsync, fd));
}
int fchmod(int fd, mode_t mode) noexcept {
    return is_refused() ? -1 : static_cast<int>(syscall(SYS_fchmod, fd, mode));
}
int flock(int fd, int operation) noexcept {
    return is_refused() ? -1 : static_cast<int>(syscall(SYS_flock, fd, operation));
}
int renameat(int from_fd, const char* from, int to_fd, const char* to) noexcept {
    return is_refused() ? -1 : static_cast<int>(syscall(SYS_renameat, from_fd, from, to_fd, to));
}
}

namespace {

constexpr int kMostSteps = 20;

class Durability : public Scratch {
  protected:
    /// The number of rows if all of them are whole, else -1.
    int whole_rows() {
        reopen();
        const int count = total("app_t", "ROW");
        for (int n = 0; n < count; ++n) {
            const std::string row = "@ROW[" + std::to_string(n) + "]";
            const auto a = get("app_t", row.c_str(), "a");
            if (a == "(none)" || a != get("app_t", row.c_str(), "b") ||
                a != get("app_t", row.c_str(), "c"))
                return -1;
        }
        return count;
    }
    bool only_known_entries() const {
        for (const auto& name : entries())
            if (name != "app_t" && name != ".app_t.appcfgd-new") return false;
        return true;
    }
};

// The last step but one, syncing the directory, comes after the replacement: it fails the call, but
// the new file is there. A failed unlock is made good by closing the file.
TEST_F(Durability, AnErrorInAnyStepFailsTheChangeAndLeavesTheFile) {
    ASSERT_TRUE(add_row("app_t", 0));
    int steps = 0;
    for (int rows = 1; steps < kMostSteps; ++steps) {
        arm(Fault::Error, steps);
        const bool added = add_row("app_t", steps);
        if (!disarm()) break;
        const int now = whole_rows();
        EXPECT_EQ(now - rows, steps < 5 ? 0 : 1) << steps;
        EXPECT_EQ(added, steps > 5) << steps;
        EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
        ASSERT_TRUE(add_row("app_t", steps));
        rows = now + 1;
    }
    EXPECT_EQ(steps, 7);
}

TEST_F(Durability, AKillAtAnyStepLeavesTheOldFileOrTheNewOne) {
    ASSERT_TRUE(add_row("app_t", 0));
    int killed = 0;
    for (int step = 0; step < kMostSteps; ++step) {
        const int before = whole_rows();
        const int status = start([&] {
                               reopen();
                               arm(Fault::Kill, step);
                               return add_row("app_t", step);
                           }).end();
        const int after = whole_rows();
        EXPECT_TRUE(only_known_entries());
        if (status == 0) {
            EXPECT_EQ(after, before + 1);
            break;
        }
        ASSERT_TRUE(WIFSIGNALED(status));
        ++killed;
        EXPECT_EQ(after - before, step < 5 ? 0 : 1) << step;
    }
    EXPECT_EQ(killed, 7);
}

TEST_F(Durability, AFullDiskLosesNothingThatWasStored) {
    const int status =
        start([&] {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount("tmpfs", config.c_str(), "tmpfs", 0, "size=64k") != 0)
                _exit(77);
            int stored = 0;
            while (stored < 2000 && add_row("app_t", stored))
                ++stored;
            const bool kept = stored < 2000 && whole_rows() == stored;
            const bool clean = entries() == std::set<std::string>{"app_t"};
            const bool frees = vsuci_del("app_t", "@ROW[0]") == 0 && whole_rows() == stored - 1;
            const bool remounted =
                mount("", config.c_str(), "", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
            return kept && clean && frees && remounted && !add_row("app_t", 1) &&
                   whole_rows() == stored - 1;
        }).end();
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << "needs root";
    EXPECT_EQ(status, 0);
}

TEST_F(Durability, NeitherWeNorTheCommandLineToolLoseARow) {
    if (access(UCI_TOOL_PATH, X_OK) != 0) GTEST_SKIP() << "no " UCI_TOOL_PATH;
    write("app_t", "");
    const std::string line =
        "export u=\"" UCI_TOOL_PATH " -c " + config + " -t " + folder +
        "/save\"; for n in `seq 50`; do $u set app_t.tool$n=TOOL; $u commit app_t || exit 1; done";
    Child tool = start([&] {
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        return false;
    });
    int refused = 0;
    for (int n = 0; n < 50; ++n)
        while (!add_row("app_t", n) && ++refused < 50)
            continue;
    EXPECT_EQ(tool.end(), 0);
    EXPECT_EQ(whole_rows(), 50);
    EXPECT_EQ(total("app_t", "TOOL"), 50);
    EXPECT_LT(refused, 50);
}

}  // namespace
