#include "platform/uci/package_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/uci/libuci_peers.h"
#include "platform/uci/patience.h"

namespace {

enum class LockAttempt : uint8_t { Locked, Busy, Failed };

LockAttempt open_to_lock(const char* path, UciMissing missing, PackageLock& lock) {
    lock.created = false;
    lock.fd = UniqueFd(open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (lock.fd) return LockAttempt::Locked;
    if (errno != ENOENT || missing == UciMissing::Fail) return LockAttempt::Failed;
    lock.fd = UniqueFd(open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!lock.fd) return errno == EEXIST ? LockAttempt::Busy : LockAttempt::Failed;
    lock.created = true;
    return LockAttempt::Locked;
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
    try_patiently(
        [&] { return try_lock(path, directory, package, missing, lock) != LockAttempt::Busy; });
    return lock;
}
