#pragma once

#include <cstddef>

// What no implementation can do without, measured in the same run as the figures.

/// Microseconds of one durable replacement of a file of `size` bytes in /etc/config: write beside
/// it, sync, rename, sync the folder.
double durable_replacement(size_t size);

/// Microseconds of one round trip to the platform.
double platform_round_trip();
