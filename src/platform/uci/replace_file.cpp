#include "platform/uci/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

bool take_owner_and_mode(int fd, const struct stat& like) {
    struct stat made;
    if (fstat(fd, &made) != 0) return false;
    if ((made.st_uid != like.st_uid || made.st_gid != like.st_gid) &&
        fchown(fd, like.st_uid, like.st_gid) != 0)
        return false;
    return fchmod(fd, like.st_mode & 07777) == 0;
}

bool fill_temporary(const FilePlace& place, std::string_view text, const struct stat& like) {
    UniqueFd fd(openat(place.directory.get(), place.temporary,
                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    return fd && take_owner_and_mode(fd.get(), like) && write_all(fd.get(), text) &&
           fsync(fd.get()) == 0 && fd.reset();
}

}  // namespace

bool find_place(const char* path, const char* tag, FilePlace& place) {
    char real[PATH_MAX];
    if (!realpath(path, real)) return false;
    char* slash = strrchr(real, '/');
    const int name = snprintf(place.name, sizeof(place.name), "%s", slash + 1);
    const int temporary =
        snprintf(place.temporary, sizeof(place.temporary), ".%s.appcfgd-new", tag);
    if (name > NAME_MAX || temporary > NAME_MAX) return false;
    slash[slash == real] = '\0';
    place.directory = UniqueFd(open(real, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return static_cast<bool>(place.directory);
}

UniqueFd write_temporary(const FilePlace& place, std::string_view text, const struct stat& like) {
    remove_temporary(place);
    UniqueFd written;
    if (fill_temporary(place, text, like))
        written = UniqueFd(openat(place.directory.get(), place.temporary, O_RDONLY | O_CLOEXEC));
    if (!written) remove_temporary(place);
    return written;
}

void remove_temporary(const FilePlace& place) {
    unlinkat(place.directory.get(), place.temporary, 0);
}

bool put_in_place(const FilePlace& place) {
    if (renameat(place.directory.get(), place.temporary, place.directory.get(), place.name) != 0) {
        remove_temporary(place);
        return false;
    }
    return fsync(place.directory.get()) == 0;
}
