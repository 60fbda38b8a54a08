#include "security/dns_filter/host_list_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace appcfg {
namespace {

constexpr mode_t kMode = 0644;
constexpr size_t kChunk = 4096;

bool copy_all(int source, const char* destination) {
    HostListFile copy(destination);
    char chunk[kChunk];
    ssize_t size;
    while ((size = read(source, chunk, sizeof(chunk))) > 0 || (size < 0 && errno == EINTR))
        if (size > 0 && !copy.append({chunk, static_cast<size_t>(size)})) return false;
    return size == 0 && copy.publish();
}

}  // namespace

bool HostListFile::make() {
    return file_.is_created() || (file_.create() && fchmod(file_.fd(), kMode) == 0);
}

bool HostListFile::append(std::string_view bytes) {
    return make() && file_.append(bytes);
}

bool HostListFile::append_domain(const char* domain) {
    return append(domain) && append("\n");
}

bool HostListFile::publish() {
    return make() && file_.finish() && file_.put_in_place();
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
