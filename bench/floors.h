#pragma once

#include <cstddef>
#include <cstdint>

// What no implementation can do without, measured in the same run as the figures.

/// Microseconds of one durable replacement of a file of `size` bytes in /etc/config: write beside
/// it, sync, rename, sync the folder.
double durable_replacement(size_t size);

/// Microseconds of one call of an IPC entry with an empty record.
double ipc_call(const char* entry, uint32_t record_size);

/// Microseconds of one round trip to the platform.
double platform_round_trip();

/// Microseconds of one run of a program that is found through PATH, whatever its status; what it
/// says is dropped.
double command(const char* const* argv);
