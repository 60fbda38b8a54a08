#pragma once

#include <unistd.h>

#include <string>

namespace base {

/// What there is to read up to the end, or to the first error.
inline std::string read_all(int fd) {
    std::string text;
    char piece[4096];
    for (ssize_t size; (size = read(fd, piece, sizeof(piece))) > 0;)
        text.append(piece, static_cast<size_t>(size));
    return text;
}

}  // namespace base
