#include "platform/uci/package_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/patience.h"
#include "platform/uci/libuci_peers.h"

namespace storage {

namespace {

enum class LockAttempt : uint8_t { Locked, Busy, Failed };

/// Somebody else may just have made what was missing. A link that leads nowhere is there as well,
/// and stays.
LockAttempt create_to_lock(const char* path, PackageLock& lock) {
    lock.fd = base::UniqueFd(open(path, O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    lock.created = static_cast<bool>(lock.fd);
    if (lock.fd) return LockAttempt::Locked;
    struct stat there;
    const bool raced = errno == EEXIST && (lstat(path, &there) != 0 || !S_ISLNK(there.st_mode));
    return raced ? LockAttempt::Busy : LockAttempt::Failed;
}

LockAttempt open_to_lock(const char* path, UciMissing missing, PackageLock& lock) {
    lock.created = false;
    lock.fd = base::UniqueFd(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (lock.fd) return access(path, W_OK) == 0 ? LockAttempt::Locked : LockAttempt::Failed;
    if (errno != ENOENT || missing == UciMissing::Fail) return LockAttempt::Failed;
    return create_to_lock(path, lock);
}

LockAttempt lock_opened(int fd) {
    struct stat file;
    if (fstat(fd, &file) != 0 || !S_ISREG(file.st_mode)) return LockAttempt::Failed;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return LockAttempt::Locked;
    return errno == EWOULDBLOCK || errno == EINTR ? LockAttempt::Busy : LockAttempt::Failed;
}

bool is_named(const char* path, int fd) {
    struct stat named;
    struct stat locked;
    return stat(path, &named) == 0 && fstat(fd, &locked) == 0 && named.st_dev == locked.st_dev &&
           named.st_ino == locked.st_ino;
}

/// A lock counts only if, when it has been obtained, nobody is about to give the path to another
/// file and it still names the locked one, in this order: what is about to happen may happen now.
LockAttempt try_lock(const char* path, const char* directory, const char* package,
                     UciMissing missing, PackageLock& lock) {
    LockAttempt result = open_to_lock(path, missing, lock);
    if (result == LockAttempt::Locked) result = lock_opened(lock.fd.get());
    if (result == LockAttempt::Locked &&
        (peer_is_replacing(directory, package) || !is_named(path, lock.fd.get())))
        result = LockAttempt::Busy;
    if (result != LockAttempt::Locked) lock.fd.reset();
    return result;
}

}  // namespace

PackageLock lock_package(const char* path, const char* directory, const char* package,
                         UciMissing missing) {
    PackageLock lock;
    for (const base::Wait wait;
         try_lock(path, directory, package, missing, lock) == LockAttempt::Busy && wait.pause();)
        continue;
    return lock;
}

}  // namespace storage
