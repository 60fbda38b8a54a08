#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "libubus.h"

// What the commands of the command-line tool share.

struct Options {
    const char* socket = nullptr;
    int seconds = 30;
    int listen_seconds = 0;  // 0: for ever
    bool simple = false;
    bool verbose = false;
    uint32_t message_types = 0;  // for monitor: a bit each; 0: all
    char direction = 0;          // for monitor: 'r' or 't'; 0: both
};

// What a command returns besides a bus status: the tool's exit status is either, modulo 256.
constexpr int kFailed = -1;
constexpr int kUsage = -2;

struct Free {
    void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

/// Whether other programs' data are well-formed all through and may be given to the formatter.
bool well_formed(void* attributes, size_t length, int depth = 0);

/// `attributes` as one line of JSON; null when they are not well-formed.
Text one_line(blob_attr* attributes);

int listen(ubus_context* context, const Options& options, char** arguments, int count);
int send(ubus_context* context, const Options& options, char** arguments, int count);
int monitor(ubus_context* context, const Options& options, char** arguments, int count);

/// The bit of `name` in Options::message_types; 0: there is no such type.
uint32_t message_type_bit(const char* name);
