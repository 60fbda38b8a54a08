#pragma once

#include <sys/types.h>

/// Starts a program found through PATH with `argv` (ended by a null pointer), with the caller's
/// standard streams and no other descriptor, default handling of SIGPIPE and no signal blocked.
/// Returns its process id, -1 if there is none. A program that cannot be executed ends with exit
/// status 127.
pid_t process_start(const char* const argv[]);

/// Waits for that very child and returns its wait status; -1 if someone else has collected it. Safe
/// on the event loop's thread, because the loop collects children only between two callbacks.
int process_wait(pid_t pid);
