#pragma once

#include "base/unique_fd.h"
#include "uci_file.h"

namespace storage {

struct PackageLock {
    base::UniqueFd fd;     ///< the locked file, open for reading only; none if not locked
    bool created = false;  ///< the file was missing and has been made, empty
};

/// Takes the lock that every libuci commit takes on the file `path` of `package`. Waits for other
/// holders with the request's patience. Fails at once for a file that may not be written.
[[nodiscard]] PackageLock lock_package(const char* path, const char* directory, const char* package,
                                       UciMissing missing);

}  // namespace storage
