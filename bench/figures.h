#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bus_client.h"

/// A program that a call has to run some times.
struct Command {
    const char* const* argv;  ///< one that only has the tool start and look
    int times;
};

/// One figure: a call that is timed again and again, what surrounds it, and what it cannot do
/// without. Each round makes the calls of `before_each`, the timed call, and those of `after_each`.
/// `batch` or an IPC entry is timed instead of a call where it is there.
struct Figure {
    std::string name = {};
    std::vector<BusCall> set_up = {};
    std::vector<BusCall> before_each = {};
    BusCall timed = {};
    const char* batch = nullptr;  ///< lines for the `uci` tool
    const char* entry = nullptr;  ///< name under which the daemon offers it
    uint32_t record_size = 0;
    int quiet_ms = 0;  ///< rest before the timed call, and before its floor
    std::vector<BusCall> after_each = {};
    std::vector<BusCall> tear_down = {};
    const char* package = nullptr;        ///< whose file a change replaces
    int replacements = 0;                 ///< durable replacements that the call needs
    int platform_calls = 0;               ///< round trips that it needs
    std::vector<BusCall> bus_calls = {};  ///< calls that it makes itself
    std::vector<Command> commands = {};   ///< programs that it runs
    int pause_ms = 0;                     ///< that platformd waits for more calls
    int rules = 0;  ///< of the IP filter; where there are any, it counts until they are in force
    bool queues = false;  ///< it counts until they are in force
    int rounds = 101;
};

std::vector<Figure> figures();

/// What adds rules of the IP filter to none, and what switches them.
std::vector<BusCall> ip_filter_rules(int count);
BusCall ip_filter_mode(int enable);
