#pragma once

#include <sys/un.h>

// The directory in which services are found: RUN/zu_ipc holds one symbolic link per call name,
// which leads to the socket of the service that answers it.

namespace platform {

struct IpcPath {
    char text[160];
};

/// Path of an entry of the directory; of the directory itself when `name` is empty. `name` is a
/// call name or a service's socket, perhaps with a short ending.
IpcPath ipc_path(const char* name);

/// Address of a service's socket in the directory, or of one elsewhere when `socket` is an absolute
/// path. False when it is too long for an address.
bool ipc_address(const char* socket, sockaddr_un& address);

/// Follows the link of a call name to the address of its service. False when there is no such name.
bool ipc_resolve(const char* name, sockaddr_un& service);

/// Makes the directory, for its owner alone. False when it cannot be made, or when others than its
/// owner could put names into it.
bool ipc_make_directory();

/// Makes or replaces the link of a call name in one step, so that the name is never missing.
bool ipc_link(const char* name, const char* socket);

}  // namespace platform
