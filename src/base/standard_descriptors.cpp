#include "base/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace base {

void occupy_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", O_RDWR);
}

}  // namespace base
