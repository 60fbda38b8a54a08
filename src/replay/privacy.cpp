#include "replay/privacy.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/unique_fd.h"

namespace replay {

namespace {

/// A folder that the daemon writes to, and how the files in it begin that it reads; null: none that
/// it has not made itself.
struct Place {
    const char* path;
    const char* files;
};

constexpr char kRun[] = "/var/run";

constexpr Place kPlaces[] = {
    {"/etc/config", ""},
    {"/config/work/valueset", "dnsfilter_hostlist"},
    {"/tmp", nullptr},
    {kRun, nullptr},
};

bool is_wanted(const dirent& entry, const char* files) {
    return files && entry.d_name[0] != '.' && strncmp(entry.d_name, files, strlen(files)) == 0;
}

bool copy_all(int from, int to) {
    constexpr size_t kAtOnce = 1 << 20;
    ssize_t sent;
    while ((sent = sendfile(to, from, nullptr, kAtOnce)) > 0)
        continue;
    return sent == 0;
}

// What is no file, and what has gone meanwhile, is not there in the copy either.
bool copy_file(int from, int to, const char* name) {
    const base::UniqueFd source(openat(from, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    if (!source || fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode)) return true;
    const base::UniqueFd copy(
        openat(to, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 0777));
    return copy && copy_all(source.get(), copy.get());
}

bool copy_files(int from, int to, const char* files) {
    DIR* folder = fdopendir(from);
    if (!folder) return false;
    bool copied = true;
    while (const auto* entry = readdir(folder))
        if (is_wanted(*entry, files)) copied = copy_file(from, to, entry->d_name) && copied;
    closedir(folder);
    return copied;
}

// The descriptor of before the mount still leads to the files themselves.
bool copy_place(const Place& place) {
    const int original = open(place.path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (original < 0) return errno == ENOENT;
    const bool covered = mount("copy", place.path, "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") == 0;
    const base::UniqueFd copy(open(place.path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (covered && copy) return copy_files(original, copy.get(), place.files);
    close(original);
    return false;
}

}  // namespace

bool retreat() {
    if (unshare(CLONE_NEWNS | CLONE_NEWNET) != 0) return false;
    if (mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
    for (const auto& place : kPlaces)
        if (!copy_place(place)) return false;
    // Where /var is /tmp it is hidden by now, and tools keep their locks there.
    return mkdir(kRun, 0755) == 0 || errno == EEXIST;
}

}  // namespace replay
