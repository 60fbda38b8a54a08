#include "platform/linux/ipc_directory.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/linux/ipc_wire.h"
#include "platform/linux/run_directory.h"

namespace platform {

namespace {

constexpr char kTemporaryEnding[] = "~new";

}  // namespace

IpcPath ipc_path(const char* name) {
    IpcPath path;
    snprintf(path.text, sizeof(path.text), "%s/zu_ipc/%s", run_directory(), name);
    return path;
}

bool ipc_address(const char* socket, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    const auto in_directory = ipc_path(socket);
    const char* path = socket[0] == '/' ? socket : in_directory.text;
    const auto length = strlen(path);
    if (length >= sizeof(address.sun_path)) return false;
    memcpy(address.sun_path, path, length);
    return true;
}

bool ipc_resolve(const char* name, sockaddr_un& service) {
    if (!ipc_name_ok(name)) return false;
    char target[sizeof(service.sun_path)];
    const auto length = readlink(ipc_path(name).text, target, sizeof(target));
    if (length <= 0 || static_cast<size_t>(length) == sizeof(target)) return false;
    target[length] = '\0';
    return ipc_address(target, service);
}

bool ipc_make_directory() {
    const auto path = ipc_path("");
    if (mkdir(path.text, 0700) != 0 && errno != EEXIST) return false;
    struct stat status;
    if (stat(path.text, &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    return status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool ipc_link(const char* name, const char* socket) {
    char temporary_name[kIpcMaxName + sizeof(kTemporaryEnding)];
    snprintf(temporary_name, sizeof(temporary_name), "%s%s", name, kTemporaryEnding);
    const auto temporary = ipc_path(temporary_name);
    unlink(temporary.text);
    return symlink(socket, temporary.text) == 0 && rename(temporary.text, ipc_path(name).text) == 0;
}

}  // namespace platform
