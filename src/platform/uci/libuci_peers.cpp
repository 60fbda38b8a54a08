#include "platform/uci/libuci_peers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "base/patience.h"
#include "base/unique_fd.h"

namespace storage {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

namespace {

constexpr int64_t kLongestCommitSeconds = 3;

bool is_recent(int directory, const char* name) {
    struct stat file;
    if (fstatat(directory, name, &file, AT_SYMLINK_NOFOLLOW) != 0) return false;
    return std::llabs(int64_t{time(nullptr)} - int64_t{file.st_ctime}) <= kLongestCommitSeconds;
}

// The first byte goes in last: should the disk fill up on the way, what is there does not parse and
// the waiting program gives up instead of publishing half a package.
void rewrite(int read_only_fd, std::string_view text) {
    char path[32];
    snprintf(path, sizeof(path), "/proc/self/fd/%d", read_only_fd);
    const base::UniqueFd fd(open(path, O_WRONLY | O_CLOEXEC));
    const auto rest = text.substr(1);
    const bool written =
        pwrite(fd.get(), "!", 1, 0) == 1 &&
        pwrite(fd.get(), rest.data(), rest.size(), 1) == static_cast<ssize_t>(rest.size()) &&
        ftruncate(fd.get(), static_cast<off_t>(text.size())) == 0;
    if (written) static_cast<void>(!pwrite(fd.get(), text.data(), 1, 0));
}

}  // namespace

// The kernel grants a read lease only while nobody has the file open for writing, as libuci's
// commit has from before it waits for the lock until it is done. To ask so takes microseconds;
// /proc/locks would tell who waits, but on a quiet machine is not read in less than ten
// milliseconds. Somebody who opens the file while the lease lasts must not make the kernel kill us
// with SIGIO.
bool is_open_for_writing(int fd) {
    fcntl(fd, F_SETSIG, SIGURG);
    if (fcntl(fd, F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN;
    fcntl(fd, F_SETLEASE, F_UNLCK);
    return false;
}

// Reading a directory that has just been changed would mark its access time, and every change would
// write that to the disk as well.
bool peer_is_replacing(const char* directory, const char* package) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    base::UniqueFd fd(open(directory, kFlags | O_NOATIME));
    if (!fd) fd = base::UniqueFd(open(directory, kFlags));
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
    const bool awaited = fstat(fd, &file) == 0 && file.st_nlink == 0 && is_open_for_writing(fd);
    if (awaited) rewrite(fd, text);
    flock(fd, LOCK_UN);
    if (awaited)
        for (const base::Wait wait; is_open_for_writing(fd) && wait.pause();)
            continue;
    close(fd);
}

}  // namespace storage
