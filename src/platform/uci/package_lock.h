#pragma once

#include "platform/uci/unique_fd.h"
#include "uci_file.h"

struct PackageLock {
    UniqueFd fd;           ///< the locked file, open for reading and writing; none if not locked
    bool created = false;  ///< the file was missing and has been made, empty
};

/// Takes the lock that every libuci commit takes on the file `path` of `package`. Waits at most 2
/// seconds for other holders.
[[nodiscard]] PackageLock lock_package(const char* path, const char* directory, const char* package,
                                       UciMissing missing);
