#pragma once

#include <sys/types.h>

#include <string>

#include "base/unique_fd.h"

// The one way to start another program.

namespace base {

/// Starts a program with the words `argv`, which a null pointer ends. `program` is its path; a name
/// without '/' is looked for in PATH, and without any it is the first word. The child has the
/// caller's standard streams and no other descriptor, every signal at its default and none blocked.
/// Safe in a process of several threads. Returns the process id, -1 if there is none. A program
/// that cannot be executed ends with exit status 127.
[[nodiscard]] pid_t start(const char* const argv[], const char* program = nullptr);

/// The same, but the program only begins when a byte is written to `gate`, and never does when that
/// is closed without: a caller who is killed before he has made a note of the child leaves none.
[[nodiscard]] pid_t start_held(const char* const argv[], UniqueFd& gate);

/// Waits for that very child and returns its wait status, 0 only if it ended by itself and was
/// content; -1 if someone else has collected it. Safe on the event loop's thread, because the loop
/// collects children only between two callbacks.
int wait(pid_t child);

/// Both: the program's wait status, -1 if it could not be started.
int run(const char* const argv[], const char* program = nullptr);

/// The path of a program that stands in the same folder as this one; empty if that is unknown.
std::string program_beside(const char* name);

}  // namespace base
