#pragma once

#include <cstdint>
#include <cstdio>

#include "zu_log.h"

// Diagnostic lines. They go to standard output and only while the platform's log gate is open for
// their module; the gate is asked for every line, so it may be opened on a running gateway.

enum class LogModule : uint32_t {
    LanHost = 0x3205000,
    Loopback = 0x4104000,
    Qos = 0x410c000,
    Security = 0x410d000,
};

/// Level of all configuration-management lines.
inline constexpr uint32_t kLogLevel = 7;

/// Prints `text`, a printf format literal that carries its own line ending, behind the name of the
/// operation and the line. Log collectors match the texts: they are kept to the letter.
#define CM_LOG_AS(module, operation, text, ...)                                              \
    do {                                                                                     \
        if (zu_log_print_on(static_cast<uint32_t>(module), kLogLevel))                       \
            std::printf("[CM:%s(%d)]" text, operation, __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

/// The calling function is the operation.
#define SECURITY_LOG(text, ...) SECURITY_LOG_AS(__func__, text __VA_OPT__(, ) __VA_ARGS__)
#define LOOPBACK_LOG(text, ...) LOOPBACK_LOG_AS(__func__, text __VA_OPT__(, ) __VA_ARGS__)

/// For what operations share or leave to a helper: prints in the name of the one that runs.
#define SECURITY_LOG_AS(operation, text, ...) \
    CM_LOG_AS(LogModule::Security, operation, text __VA_OPT__(, ) __VA_ARGS__)
#define LOOPBACK_LOG_AS(operation, text, ...) \
    CM_LOG_AS(LogModule::Loopback, operation, text __VA_OPT__(, ) __VA_ARGS__)
