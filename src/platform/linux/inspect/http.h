#pragma once

#include "platform/linux/inspect/names.h"

namespace platform::inspect {

struct Request {
    std::string host;   ///< empty: it names none
    std::string path;   ///< decoded, with the query; "/" if there is none
    size_t size = 0;    ///< bytes of its head, to the empty line
    uint64_t body = 0;  ///< bytes that follow before the next request
    /// It cannot be told where the next request begins.
    bool boundless = false;
};

/// Reads one request's head. When there is more to come, `host` and `path` are what is known so
/// far; once a host is known, both stay.
Reading read_request(Bytes stream, Request& request);

}  // namespace platform::inspect
