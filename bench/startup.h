#pragma once

#include "bus_client.h"

// From the start of a process to its object on the bus.

struct Startup {
    double microseconds;
    long private_kib;  ///< resident memory that is the process's own, once it serves
};

/// Starts `argv` (found through PATH), waits until `object` is on the bus, measures, ends it.
Startup start_and_end(BusClient& bus, const char* const* argv, const char* object);
