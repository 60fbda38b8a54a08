#include "platform/linux/run_directory.h"

#include <cstring>

namespace platform {

namespace {

// Leaves room in a socket address for the longest name that stands below.
char g_directory[56] = "/var/run";

}  // namespace

const char* run_directory() {
    return g_directory;
}

bool set_run_directory(const char* path) {
    const auto length = strnlen(path, sizeof(g_directory));
    if (length == 0 || length == sizeof(g_directory)) return false;
    memcpy(g_directory, path, length + 1);
    return true;
}

}  // namespace platform
