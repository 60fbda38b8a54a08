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

#include "platform/uci/patience.h"
#include "platform/uci/unique_fd.h"

namespace {

constexpr int64_t kLongestCommitSeconds = 3;
constexpr int kQuietLooks = 10;

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

struct CloseStream {
    void operator()(FILE* stream) const { fclose(stream); }
};

bool is_recent(int directory, const char* name) {
    struct stat file;
    if (fstatat(directory, name, &file, AT_SYMLINK_NOFOLLOW) != 0) return false;
    return std::llabs(int64_t{time(nullptr)} - int64_t{file.st_ctime}) <= kLongestCommitSeconds;
}

/// True if somebody waits for a file that this process has locked, or if /proc does not tell. The
/// kernel lists every lock before those who wait for it, by the names that /proc has for processes.
bool is_awaited() {
    char self[16] = {};
    const std::unique_ptr<FILE, CloseStream> locks(fopen("/proc/locks", "re"));
    if (!locks || readlink("/proc/self", self, sizeof(self) - 1) <= 0) return true;
    char line[256];
    char holder[16];
    for (*holder = '\0'; fgets(line, sizeof(line), locks.get());) {
        const bool waits = strstr(line, "->");
        if (waits && strcmp(holder, self) == 0) return true;
        if (!waits && sscanf(line, "%*s FLOCK %*s %*s %15s", holder) != 1) *holder = '\0';
    }
    return false;
}

// The first byte goes in last: should the disk fill up on the way, what is there does not parse and
// the waiting program gives up instead of publishing half a package.
void rewrite(int fd, std::string_view text) {
    const auto rest = text.substr(1);
    const bool written =
        pwrite(fd, "!", 1, 0) == 1 &&
        pwrite(fd, rest.data(), rest.size(), 1) == static_cast<ssize_t>(rest.size()) &&
        ftruncate(fd, static_cast<off_t>(text.size())) == 0;
    if (written) static_cast<void>(!pwrite(fd, text.data(), 1, 0));
}

/// Waits until nobody has been seen with the lock for a while: a waiter that has just been woken
/// does not have it before it runs.
void await_peers(int fd) {
    int quiet = 0;
    try_patiently([fd, &quiet] {
        quiet = flock(fd, LOCK_SH | LOCK_NB) == 0 ? quiet + 1 : 0;
        flock(fd, LOCK_UN);
        return quiet == kQuietLooks;
    });
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

void unlock_replaced(int fd, std::string_view text) {
    struct stat file;
    const bool awaited = fstat(fd, &file) == 0 && file.st_nlink == 0 && is_awaited();
    if (awaited) rewrite(fd, text);
    flock(fd, LOCK_UN);
    if (awaited) await_peers(fd);
    close(fd);
}
