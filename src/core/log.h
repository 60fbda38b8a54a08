#pragma once

#include <cstdint>

#include "base/log_modules.h"
#include "zu_log.h"

// Diagnostic lines. They go to standard output and only while the platform's log gate is open for
// their module; the gate is asked for every line, so it may be opened on a running gateway.

namespace appcfg {

/// Whose lines they are: the module and level that the gate is asked for, and the frame that stands
/// before each text, with the name of the operation and the line of the source.
struct LogSource {
    uint32_t module;
    uint32_t level;
    const char* frame;
};

inline constexpr char kOperationFrame[] = "[CM:%s(%d)]";

inline constexpr LogSource kSecurityLog{base::kLogSecurity, 7, kOperationFrame};
inline constexpr LogSource kLoopbackLog{base::kLogLoopback, 7, kOperationFrame};
inline constexpr LogSource kQosLog{base::kLogQos, 7, kOperationFrame};
inline constexpr LogSource kLanHostLog{base::kLogLanHost, 3, "[LANHOST:error:%s(%d)]"};

/// Prints one line, whatever the gate says. `text` carries its own line ending.
__attribute__((format(printf, 4, 5))) void log_line(const LogSource& source, const char* operation,
                                                    int line, const char* text, ...);

/// Prints `text`, a printf format literal, in the name of `operation`. Log collectors match the
/// texts: they are kept to the letter.
#define LOG_AS(source, operation, text, ...)                                        \
    do {                                                                            \
        if (zu_log_print_on((source).module, (source).level))                       \
            log_line(source, operation, __LINE__, text __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

/// The calling function is the operation.
#define SECURITY_LOG(text, ...) SECURITY_LOG_AS(__func__, text __VA_OPT__(, ) __VA_ARGS__)
#define LOOPBACK_LOG(text, ...) LOOPBACK_LOG_AS(__func__, text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_LOG(text, ...) LOG_AS(kQosLog, __func__, text __VA_OPT__(, ) __VA_ARGS__)
#define LANHOST_LOG(text, ...) LOG_AS(kLanHostLog, __func__, text __VA_OPT__(, ) __VA_ARGS__)

/// For what operations share or leave to a helper: prints in the name of the one that runs.
#define SECURITY_LOG_AS(operation, text, ...) \
    LOG_AS(kSecurityLog, operation, text __VA_OPT__(, ) __VA_ARGS__)
#define LOOPBACK_LOG_AS(operation, text, ...) \
    LOG_AS(kLoopbackLog, operation, text __VA_OPT__(, ) __VA_ARGS__)
#define LANHOST_LOG_AS(operation, text, ...) \
    LOG_AS(kLanHostLog, operation, text __VA_OPT__(, ) __VA_ARGS__)
#define QOS_LOG_AS(operation, text, ...) LOG_AS(kQosLog, operation, text __VA_OPT__(, ) __VA_ARGS__)

}  // namespace appcfg
