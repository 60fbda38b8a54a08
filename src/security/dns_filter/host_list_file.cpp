#include "security/dns_filter/host_list_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "securec.h"

namespace appcfg {
namespace {

constexpr mode_t kMode = 0644;
constexpr size_t kChunk = 4096;

bool copy_all(int source, const char* destination) {
    HostListFile copy(destination);
    char chunk[kChunk];
    ssize_t size;
    while ((size = read(source, chunk, sizeof(chunk))) > 0)
        if (!copy.append(chunk, static_cast<size_t>(size))) return false;
    return size == 0 && copy.publish();
}

}  // namespace

HostListFile::HostListFile(const char* path) : path_(path) {
    snprintf_s(new_path_, sizeof(new_path_), sizeof(new_path_) - 1, "%s.new", path);
}

HostListFile::~HostListFile() {
    if (fd_ < 0) return;
    close(fd_);
    unlink(new_path_);
}

bool HostListFile::open_new() {
    if (fd_ >= 0) return true;
    unlink(new_path_);  // of a process that was killed
    fd_ = open(new_path_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode);
    return fd_ >= 0 && fchmod(fd_, kMode) == 0;
}

bool HostListFile::append(const void* bytes, size_t size) {
    return open_new() && write(fd_, bytes, size) == static_cast<ssize_t>(size);
}

bool HostListFile::append_domain(const char* domain) {
    return append(domain, std::strlen(domain)) && append("\n", 1);
}

bool HostListFile::publish() {
    if (!open_new() || fsync(fd_) != 0 || rename(new_path_, path_) != 0) return false;
    close(fd_);
    fd_ = -1;
    return true;
}

int32_t copy_dnsfilter_file(const char* source, const char* destination) {
    if (access(destination, F_OK) != 0) return -1;
    const int fd = open(source, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return -1;
    const bool copied = copy_all(fd, destination);
    close(fd);
    return copied ? 0 : -1;
}

}  // namespace appcfg
