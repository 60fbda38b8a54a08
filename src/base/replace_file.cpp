#include "base/replace_file.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/random.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace base {

namespace {

constexpr int kRandomNames = 8;

UniqueFd open_folder_of(const char* path, const char* last_slash) {
    char folder[PATH_MAX] = ".";
    const auto length = static_cast<size_t>(last_slash ? last_slash - path : 0);
    if (length >= sizeof(folder)) return UniqueFd();
    if (last_slash) snprintf(folder, sizeof(folder), "%.*s/", static_cast<int>(length), path);
    return UniqueFd(open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

FileReplacement::FileReplacement(const char* path, Durable durable) : durable_(durable) {
    const char* slash = strrchr(path, '/');
    const char* name = slash ? slash + 1 : path;
    if (!*name || strlen(name) > NAME_MAX) return;
    strcpy(name_, name);
    directory_ = open_folder_of(path, slash);
}

FileReplacement::~FileReplacement() {
    if (exists_) unlinkat(directory_.get(), temporary_, 0);
}

bool FileReplacement::make_temporary(const char* infix) {
    const int length = snprintf(temporary_, sizeof(temporary_), ".%s.appcfgd%s-new", name_, infix);
    if (length > NAME_MAX) return false;
    unlinkat(directory_.get(), temporary_, 0);
    fd_ = UniqueFd(openat(directory_.get(), temporary_,
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    exists_ = static_cast<bool>(fd_);
    return exists_ || errno != EEXIST;
}

bool FileReplacement::create() {
    if (!directory_) return false;
    bool over = make_temporary("");
    for (int attempt = 0; !over && attempt < kRandomNames; ++attempt) {
        uint64_t random;
        char infix[24];
        if (getrandom(&random, sizeof(random), 0) != sizeof(random)) return false;
        snprintf(infix, sizeof(infix), "-%016" PRIx64, random);
        over = make_temporary(infix);
    }
    return exists_;
}

bool FileReplacement::append(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(fd_.get(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

bool FileReplacement::finish() {
    return (durable_ == Durable::No || fsync(fd_.get()) == 0) && fd_.reset();
}

UniqueFd FileReplacement::reopen() const {
    return UniqueFd(openat(directory_.get(), temporary_, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
}

bool FileReplacement::change_places() {
    const int folder = directory_.get();
    return syscall(SYS_renameat2, folder, temporary_, folder, name_, RENAME_EXCHANGE) == 0;
}

bool FileReplacement::sync_folder() {
    return fsync(directory_.get()) == 0;
}

// A folder is moved away in one step, so that nobody can put another one there in between.
bool FileReplacement::put_in_place() {
    const int folder = directory_.get();
    if (renameat(folder, temporary_, folder, name_) != 0) {
        if (errno != EISDIR || !change_places()) return false;
        unlinkat(folder, temporary_, AT_REMOVEDIR);
    }
    exists_ = false;
    return durable_ == Durable::No || sync_folder();
}

}  // namespace base
