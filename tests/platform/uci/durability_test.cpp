#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/syscall.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>

#include "scratch.h"
#include "uci_file.h"

// The system calls that a change is made of: one of them can be made to fail, or be the last thing
// that the process does.

namespace {

enum class Fault { None, Error, Kill };
Fault fault = Fault::None;
int calls_before_fault = 0;
std::atomic<int> syncs = 0;
bool files_change_places = true;

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
    ++syncs;
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
long syscall(long number, ...) noexcept {
    va_list list;
    va_start(list, number);
    long a[6];
    for (long& argument : a)
        argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_renameat2) {
        errno = EINVAL;
        if (!files_change_places || is_refused()) return -1;
    }
    const auto real = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
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
    /// Commits as many sections, one by one.
    Child start_tool(int sections) const {
        return Child::execute({"/bin/sh", "-c",
                               "export u=\"" UCI_TOOL_PATH " -c " + config + " -t " + folder +
                                   "/save\"; for n in `seq " + std::to_string(sections) +
                                   "`; do $u set app_t.tool$n=TOOL; "
                                   "$u commit app_t || exit 1; done"});
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

class Alternation : public Durability {
  protected:
    Alternation() { EXPECT_TRUE(add_row("app_t", 0)); }
    ~Alternation() override { files_change_places = true; }

    static bool show(int number) {
        vsuci_hold("app_t");
        for (const char* option : {"a", "b", "c"})
            vsuci_set_int32(number, "app_t", "@ROW[0]", option);
        return vsuci_release("app_t") == 0;
    }
    /// What somebody finds who opens the file, "" if anybody has it locked.
    std::string shown() {
        const int fd = open(path("app_t").c_str(), O_RDONLY | O_CLOEXEC);
        const bool free = flock(fd, LOCK_EX | LOCK_NB) == 0;
        close(fd);
        return free ? read("app_t") : "";
    }
    static std::string row(int number) {
        const std::string n = std::to_string(number);
        return "\nconfig ROW\n\toption a '" + n + "'\n\toption b '" + n + "'\n\toption c '" + n +
               "'\n";
    }
};

TEST_F(Alternation, EachContentIsSyncedOnce) {
    for (const bool can : {true, false}) {
        files_change_places = can;
        syncs = 0;
        vsuci_alternate("app_t");
        for (int n = 1; n <= 10; ++n) {
            EXPECT_TRUE(show(n % 2));
            EXPECT_EQ(shown(), row(n % 2) + "\n");
        }
        EXPECT_EQ(syncs, can ? 3 : 20);
        EXPECT_EQ(vsuci_settle("app_t"), 0);
        EXPECT_EQ(syncs, can ? 4 : 20);
        EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
    }
    syncs = 0;
    EXPECT_TRUE(show(1) && show(0));
    EXPECT_EQ(syncs, 4);
}

TEST_F(Alternation, WhatOthersWriteMeanwhileStays) {
    vsuci_alternate("app_t");
    EXPECT_TRUE(show(1) && show(0) && show(1));
    std::string others;
    for (int n = 0; n < 3; ++n) {
        const std::string line = "\nconfig other 'o" + std::to_string(n) + "'\n";
        if (n < 2) others += line;
        if (n == 0) {
            std::ofstream(path("app_t"), std::ios::app) << line;
        } else if (n == 1) {
            write(".theirs", row(1) + others);
            std::filesystem::rename(path(".theirs"), path("app_t"));
        } else {
            EXPECT_EQ(chmod(path("app_t").c_str(), 0640), 0);
        }
        const mode_t mode = status("app_t").st_mode;
        for (int m = 0; m < 5; ++m) {
            EXPECT_TRUE(show(m % 2));
            EXPECT_EQ(shown(), row(m % 2) + others + "\n");
            EXPECT_EQ(status("app_t").st_mode, mode);
        }
        EXPECT_TRUE(show(1));
    }
    EXPECT_EQ(start([] { return add_row("app_t", 7); }).end(), 0);
    EXPECT_TRUE(show(0) && show(1) && show(0));
    EXPECT_EQ(vsuci_settle("app_t"), 0);
    EXPECT_EQ(shown(), row(0) + others + row(7) + "\n");
    EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
}

TEST_F(Alternation, ACommitOfTheCommandLineToolIsNotUndoneNorUndoesAChange) {
    if (access(UCI_TOOL_PATH, X_OK) != 0) GTEST_SKIP() << "no " UCI_TOOL_PATH;
    const Child tool = start_tool(30);
    vsuci_alternate("app_t");
    for (int n = 0; tool.alive(); ++n) {
        EXPECT_TRUE(show(n % 2));
        EXPECT_EQ(get("app_t", "@ROW[0]", "b"), std::to_string(n % 2));
    }
    EXPECT_EQ(vsuci_settle("app_t"), 0);
    EXPECT_EQ(whole_rows(), 1);
    EXPECT_EQ(total("app_t", "TOOL"), 30);
    EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
}

TEST_F(Alternation, AnErrorOrAKillAtAnyStepLeavesOneOfTheTwo) {
    for (const Fault kind : {Fault::Error, Fault::Kill}) {
        bool over = false;
        int step = 0;
        for (; !over && step < 60; ++step) {
            const int status = start([&] {
                                   reopen();
                                   arm(kind, step);
                                   vsuci_alternate("app_t");
                                   for (int n = 1; n <= 4; ++n)
                                       if (show(n % 2) && read("app_t") != row(n % 2) + "\n")
                                           return false;
                                   static_cast<void>(!vsuci_settle("app_t"));
                                   const bool reached = disarm();
                                   if (reached && entries() != std::set<std::string>{"app_t"})
                                       return false;
                                   _exit(reached ? 0 : 2);
                               }).end();
            over = WIFEXITED(status) && WEXITSTATUS(status) == 2;
            EXPECT_TRUE(over || status == (kind == Fault::Kill ? SIGKILL : 0)) << step;
            EXPECT_EQ(whole_rows(), 1) << step;
            EXPECT_TRUE(only_known_entries());
            EXPECT_TRUE(show(2) && show(0));
            EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
        }
        EXPECT_TRUE(over);
        EXPECT_GT(step, 15);
    }
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
    Child tool = start_tool(50);
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
