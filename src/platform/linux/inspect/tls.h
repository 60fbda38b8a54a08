#pragma once

#include "platform/linux/inspect/names.h"

namespace platform::inspect {

/// Reads the first message of a TLS client out of what it has sent so far, in however many records.
/// Done as soon as the server's name is known, or that the client says none (`host` is empty).
Reading read_hello(Bytes stream, std::string& host);

/// Whether it looks like a part of a TLS connection that has begun before.
bool is_running_tls(Bytes stream);

}  // namespace platform::inspect
