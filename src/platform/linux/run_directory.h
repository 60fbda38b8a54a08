#pragma once

namespace platform {

/// Where the platform keeps its sockets and switches: "/var/run", unless a tool or a test has moved
/// it.
const char* run_directory();

/// Moves it; to be called before anything else of the platform is used. False when `path` is too
/// long to hold a socket's name.
bool set_run_directory(const char* path);

}  // namespace platform
