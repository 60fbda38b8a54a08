#include "platform/uci/libuci_peers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "platform/uci/unique_fd.h"

namespace {

constexpr int64_t kLongestCommitSeconds = 3;
constexpr int kWaitAttempts = 2000;
constexpr int kQuietAttempts = 10;
constexpr timespec kWaitPause = {0, 1'000'000};

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

bool is_recent(int directory, const char* name) {
    struct stat file;
    if (fstatat(directory, name, &file, AT_SYMLINK_NOFOLLOW) != 0) return false;
    return std::llabs(int64_t{time(nullptr)} - int64_t{file.st_ctime}) <= kLongestCommitSeconds;
}

struct CloseStream {
    void operator()(FILE* stream) const { fclose(stream); }
};

/// A file as the kernel's list of locks names it, "major:minor:inode"; empty for none.
struct ListedFile {
    char name[64] = {};
};

struct ListedLock {
    ListedFile file;
    int pid = 0;
    bool waiting = false;
};

/// Calls `look` for every lock and waiter of the system, each waiter after the lock it waits for,
/// until it returns true.
template <class Look>
bool any_lock(Look look) {
    const std::unique_ptr<FILE, CloseStream> list(fopen("/proc/locks", "re"));
    char line[256];
    while (list && fgets(line, sizeof(line), list.get())) {
        ListedLock lock;
        const char* arrow = strstr(line, "->");
        lock.waiting = arrow;
        const char* kind = arrow ? arrow + 2 : line + strcspn(line, " ");
        if (sscanf(kind, " FLOCK %*s %*s %d %63s", &lock.pid, lock.file.name) == 2 && look(lock))
            return true;
    }
    return false;
}

/// A file that this process has locked and another one waits for.
ListedFile awaited_file() {
    ListedFile ours;
    const bool found = any_lock([&ours](const ListedLock& lock) {
        if (!lock.waiting) ours = lock.pid == getpid() ? lock.file : ListedFile();
        return lock.waiting && *ours.name;
    });
    return found ? ours : ListedFile();
}

bool is_locked(const ListedFile& file) {
    return any_lock(
        [&file](const ListedLock& lock) { return strcmp(lock.file.name, file.name) == 0; });
}

/// Waits until nobody has been seen with the lock for a while: a waiter that has just been woken is
/// on no list until it runs.
void await_peers(const ListedFile& file) {
    for (int attempt = 0, quiet = 0; attempt < kWaitAttempts && quiet < kQuietAttempts; ++attempt) {
        nanosleep(&kWaitPause, nullptr);
        quiet = is_locked(file) ? 0 : quiet + 1;
    }
}

}  // namespace

// Reading a directory that has just been changed would mark its access time, and every change would
// write that to the disk as well.
bool peer_is_replacing(const char* directory, const char* package) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    UniqueFd fd(open(directory, kFlags | O_NOATIME));
    if (!fd) fd = UniqueFd(open(directory, kFlags));
    const std::unique_ptr<DIR, CloseDirectory> entries(fdopendir(fd.get()));
    if (!entries) return false;
    fd.release();
    char prefix[128];
    const auto length = static_cast<size_t>(snprintf(prefix, sizeof(prefix), ".%s.uci-", package));
    while (const dirent* entry = readdir(entries.get()))
        if (strncmp(entry->d_name, prefix, length) == 0 &&
            is_recent(dirfd(entries.get()), entry->d_name))
            return true;
    return false;
}

// The first byte goes in last: should the disk fill up on the way, what is there does not parse and
// the waiting program gives up instead of publishing half a package.
void update_waiting_peers(int old_fd, std::string_view text) {
    struct stat old;
    if (text.empty() || fstat(old_fd, &old) != 0 || old.st_nlink != 0) return;
    const auto rest = text.substr(1);
    const bool written =
        pwrite(old_fd, "!", 1, 0) == 1 &&
        pwrite(old_fd, rest.data(), rest.size(), 1) == static_cast<ssize_t>(rest.size()) &&
        ftruncate(old_fd, static_cast<off_t>(text.size())) == 0;
    if (written) static_cast<void>(!pwrite(old_fd, text.data(), 1, 0));
}

// A child that another thread is just starting may hold a copy of the descriptor, so closing it
// alone would not unlock.
void unlock_for_peers(int fd) {
    struct stat file;
    const bool replaced = fstat(fd, &file) == 0 && file.st_nlink == 0;
    const ListedFile awaited = replaced ? awaited_file() : ListedFile();
    flock(fd, LOCK_UN);
    close(fd);
    if (*awaited.name) await_peers(awaited);
}
