#include "platform/linux/platformd/own_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/read_all.h"
#include "base/replace_file.h"
#include "base/unique_fd.h"
#include "platform/linux/run_directory.h"

namespace platform::platformd {

namespace {

/// Others may come by a file whose name they know: processes of ours that run as another user.
constexpr mode_t kFolderMode = 0711;

std::string folder() {
    return std::string(run_directory()) + "/appcfg";
}

bool is_ours(int fd, mode_t type) {
    struct stat status;
    return fstat(fd, &status) == 0 && (status.st_mode & S_IFMT) == type &&
           status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// Makes the folder if need be.
bool has_folder() {
    if (mkdir(folder().c_str(), kFolderMode) != 0 && errno != EEXIST) return false;
    const base::UniqueFd fd(
        open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (fd && is_ours(fd.get(), S_IFDIR)) return fchmod(fd.get(), kFolderMode) == 0;
    errno = EPERM;
    return false;
}

}  // namespace

std::string own_path(std::string_view name) {
    return folder().append("/").append(name);
}

std::string read_own_file(std::string_view name) {
    const base::UniqueFd fd(open(own_path(name).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    return fd && is_ours(fd.get(), S_IFREG) ? base::read_all(fd.get()) : std::string();
}

bool write_own_file(std::string_view name, std::string_view text, mode_t mode) {
    if (!has_folder()) return false;
    base::FileReplacement file(own_path(name).c_str(), base::Durable::No);
    return file.create() && file.append(text) && fchmod(file.fd(), mode) == 0 && file.finish() &&
           file.put_in_place();
}

void remove_own_file(std::string_view name) {
    unlink(own_path(name).c_str());
}

std::vector<std::string> own_files(std::string_view beginning) {
    std::vector<std::string> names;
    DIR* listing = opendir(folder().c_str());
    if (!listing) return names;
    while (const auto* entry = readdir(listing))
        if (std::string_view(entry->d_name).starts_with(beginning)) names.push_back(entry->d_name);
    closedir(listing);
    return names;
}

}  // namespace platform::platformd
