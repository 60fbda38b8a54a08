#include "uci_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include "base/patience.h"
#include "base/replace_file.h"
#include "platform/uci/former_file.h"
#include "platform/uci/libuci_peers.h"
#include "platform/uci/package_lock.h"
#include "platform/uci/package_text.h"
#include "platform/uci/uci_names.h"
#include "platform/uci/uci_testing.h"

using namespace storage;

UciDirectories uci_directories = {"/etc/config", "/rom/config"};

namespace {

int64_t in_ns(const timespec& time) {
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

bool same_file(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool take_owner_and_mode(int fd, const struct stat& like) {
    struct stat made;
    if (fstat(fd, &made) != 0) return false;
    if ((made.st_uid != like.st_uid || made.st_gid != like.st_gid) &&
        fchown(fd, like.st_uid, like.st_gid) != 0)
        return false;
    return fchmod(fd, like.st_mode & 07777) == 0;
}

/// Fills all of `text` from the beginning of the file.
bool read_all(int fd, std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t part = pread(fd, &text[done], text.size() - done, static_cast<off_t>(done));
        if (part < 0 && errno == EINTR) continue;
        if (part <= 0) return false;
        done += static_cast<size_t>(part);
    }
    return true;
}

}  // namespace

UciContext uci_new_context() {
    const std::lock_guard serialised(libuci_statics);
    UciContext context(uci_alloc_context());
    if (context && uci_set_confdir(context.get(), "/dev/null") != UCI_OK) context.reset();
    return context;
}

UciFileState UciFileState::of(const struct stat& file) {
    return {.device = file.st_dev,
            .inode = file.st_ino,
            .size = file.st_size,
            .modified_ns = in_ns(file.st_mtim),
            .changed_ns = in_ns(file.st_ctim)};
}

UciFile::UciFile(uci_context* context, const char* package, UciStore store)
    : context_(context),
      directory_(store == UciStore::Config ? uci_directories.config : uci_directories.factory) {
    if (!is_package_name(package)) return;
    snprintf(name_, sizeof(name_), "%s", package);
    snprintf(path_, sizeof(path_), "%s/%s", directory_, package);
}

UciFile::~UciFile() {
    discard();
}

bool UciFile::load() {
    return lock_fd_ >= 0 ? package_ != nullptr : read_if_changed();
}

// The file that was read is kept open, so that its number is not given to another one. What this
// cannot see is a change made in place that keeps the size and falls into the same tick of the
// clock (a few milliseconds) as the change before it: no program on a gateway writes packages so.
//
// A file that is just being replaced has no name any more before its successor has it; whoever does
// that may be interrupted there.
bool UciFile::read_if_changed() {
    bool again = true;
    for (const base::Wait wait; again; again = wait.pause()) {
        struct stat now;
        if (stat(path_, &now) != 0) break;
        if (loaded_fd_ >= 0 && state_ == UciFileState::of(now)) return package_ != nullptr;
        const int fd = open(path_, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) break;
        if (read_from(fd)) return package_ != nullptr;
        forget();
    }
    forget();
    return false;
}

/// Takes over `fd`. False if the file was changed or replaced while it was read: what was read may
/// then be half of one and half of the other.
bool UciFile::read_from(int fd) {
    forget();
    loaded_fd_ = fd;
    struct stat before;
    struct stat after;
    if (fstat(fd, &before) != 0) return false;
    state_ = UciFileState::of(before);
    if (!S_ISREG(before.st_mode) || before.st_size > off_t{kLargestText}) return true;
    std::string text;
    text.reserve(static_cast<size_t>(before.st_size) + 1);
    text.resize(static_cast<size_t>(before.st_size));
    if (!read_all(fd, text) || fstat(fd, &after) != 0 || after.st_nlink == 0 ||
        UciFileState::of(after) != state_)
        return false;
    package_ = parse_package(context_, name_, std::move(text));
    ++generation_;
    return true;
}

bool UciFile::load_for_change(UciMissing missing) {
    if (lock_fd_ >= 0 || !*name_) return false;
    PackageLock lock = lock_package(path_, directory_, name_, missing);
    if (!lock.fd) return false;
    lock_fd_ = lock.fd.release();
    created_ = lock.created;
    struct stat locked;
    if (read_if_changed() && fstat(lock_fd_, &locked) == 0 && UciFileState::of(locked) == state_)
        return true;
    discard();
    return false;
}

bool UciFile::commit() {
    if (lock_fd_ >= 0 && package_ && sections_read_back(*package_)) {
        const auto text = format_package(*package_, static_cast<size_t>(state_.size) + 4096);
        if (!text.empty() && (bring_back(text) || replace(text)) &&
            (!former_ || !is_open_for_writing(lock_fd_) || drop_former())) {
            unlock_replaced(std::exchange(lock_fd_, -1), text);
            created_ = false;
            return true;
        }
    }
    discard();
    return false;
}

bool UciFile::replace(std::string_view text) {
    char real_path[PATH_MAX];
    struct stat file;
    if (!drop_former() || fstat(lock_fd_, &file) != 0 || !realpath(path_, real_path)) return false;
    auto next = std::make_unique<FormerFile>(real_path);
    base::FileReplacement& replacement = next->replacement();
    if (!replacement.create() || !take_owner_and_mode(replacement.fd(), file) ||
        !replacement.append(text) || !replacement.finish())
        return false;
    base::UniqueFd fresh = replacement.reopen();
    if (!fresh || fstat(fresh.get(), &file) != 0 || peer_is_replacing(directory_, name_) ||
        !is_as_loaded())
        return false;
    const UciFileState written = UciFileState::of(file);
    if (!next->replace(alternates_) || fstat(fresh.get(), &file) != 0) return false;
    next->remember(std::exchange(loaded_fd_, fresh.release()), std::exchange(state_, written));
    state_.changed_ns = in_ns(file.st_ctim);
    if (next->is_kept()) former_ = std::move(next);
    return true;
}

/// Puts the file back that was replaced last, if it has this content.
bool UciFile::bring_back(std::string_view text) {
    return former_ && former_->can_replace(loaded_fd_, text) &&
           !peer_is_replacing(directory_, name_) && is_as_loaded() &&
           former_->change_places(loaded_fd_, state_);
}

bool UciFile::drop_former() {
    const bool settled = !former_ || former_->settle();
    former_.reset();
    return settled;
}

// Under the lock, for the next writer's new file has the name that the kept one has.
bool UciFile::settle() {
    alternates_ = false;
    if (!former_) return true;
    const PackageLock lock = lock_package(path_, directory_, name_, UciMissing::Fail);
    const bool settled = drop_former();
    if (lock.fd) flock(lock.fd.get(), LOCK_UN);
    return settled;
}

/// Programs that lock nothing may have written the file meanwhile; theirs is not overwritten.
bool UciFile::is_as_loaded() const {
    struct stat now;
    return stat(path_, &now) == 0 && UciFileState::of(now) == state_;
}

void UciFile::discard() {
    forget();
    struct stat locked;
    struct stat named;
    if (created_ && fstat(lock_fd_, &locked) == 0 && stat(path_, &named) == 0 &&
        same_file(named, locked) && locked.st_size == 0)
        unlink(path_);
    unlock();
}

void UciFile::leave() {
    if (created_) return discard();
    unlock();
}

void UciFile::forget() {
    if (package_) uci_unload(context_, package_);
    package_ = nullptr;
    if (loaded_fd_ >= 0) close(loaded_fd_);
    loaded_fd_ = -1;
}

// A child that another thread is just starting may hold a copy of the descriptor, so closing it
// alone would not unlock.
void UciFile::unlock() {
    created_ = false;
    if (lock_fd_ < 0) return;
    flock(lock_fd_, LOCK_UN);
    close(lock_fd_);
    lock_fd_ = -1;
}
