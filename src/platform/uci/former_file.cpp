#include "platform/uci/former_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace storage {

namespace {

bool same_owner_and_mode(const struct stat& a, const struct stat& b) {
    return a.st_uid == b.st_uid && a.st_gid == b.st_gid && a.st_mode == b.st_mode;
}

bool holds(int fd, std::string_view text) {
    char part[4096];
    for (off_t at = 0; !text.empty();) {
        const size_t size = std::min(text.size(), sizeof(part));
        const ssize_t count = pread(fd, part, size, at);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0 || std::string_view(part, static_cast<size_t>(count)) !=
                              text.substr(0, static_cast<size_t>(count)))
            return false;
        text.remove_prefix(static_cast<size_t>(count));
        at += count;
    }
    return true;
}

/// A file that has got another name counts as changed: `state` follows.
void follow_rename(int fd, UciFileState& state) {
    struct stat file;
    if (fstat(fd, &file) == 0) state.changed_ns = UciFileState::of(file).changed_ns;
}

}  // namespace

bool FormerFile::replace(bool may_return) {
    kept_ = may_return && replacement_.change_places();
    return kept_ ? replacement_.sync_folder() : replacement_.put_in_place();
}

void FormerFile::remember(int fd, const UciFileState& state) {
    fd_.reset(fd);
    state_ = state;
    follow_rename(fd, state_);
}

bool FormerFile::can_replace(int present, std::string_view text) const {
    struct stat own;
    struct stat other;
    return state_.size == static_cast<int64_t>(text.size()) && fstat(fd_.get(), &own) == 0 &&
           fstat(present, &other) == 0 && UciFileState::of(own) == state_ &&
           same_owner_and_mode(own, other) && holds(fd_.get(), text);
}

bool FormerFile::change_places(int& fd, UciFileState& state) {
    // It may have been written by a program that does not sync.
    if (!synced_ && fsync(fd_.get()) != 0) return false;
    synced_ = true;
    if (!replacement_.change_places()) return false;
    settled_ = false;
    const int present = fd_.release();
    remember(std::exchange(fd, present), std::exchange(state, state_));
    follow_rename(fd, state);
    return true;
}

bool FormerFile::settle() {
    if (!settled_) settled_ = replacement_.sync_folder();
    return settled_;
}

}  // namespace storage
