#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "base/tokens.h"

// What the parts of an audit say to each other: lines of a kind, a service's name and a text, with
// a blank between them.

namespace platform {

inline constexpr char kAuditTold[] = "told";        ///< what the tables have made of a state
inline constexpr char kAuditTool[] = "tool";        ///< what tools list of the daemon's chains
inline constexpr char kAuditMissing[] = "missing";  ///< asked for, not in the kernel
inline constexpr char kAuditForeign[] = "foreign";  ///< in the kernel, not asked for
inline constexpr char kAuditWrong[] = "wrong";      ///< not as it should be, in words
inline constexpr char kAuditCannot[] = "cannot";    ///< remembered, and no more
inline constexpr char kAuditWarning[] = "warning";  ///< what can make enforcement worthless
inline constexpr char kAuditPlayed[] = "played";    ///< the service has been initialised
inline constexpr char kAuditWaiting[] = "waiting";  ///< the kernel is yet to follow

inline void append_audit_line(std::string& out, const char* kind, std::string_view service,
                              std::string_view text) {
    out += kind;
    out += ' ';
    out += service;
    out += ' ';
    out += text;
    out += '\n';
}

/// Calls `each(line)` for the lines of a text that are not empty, without the blanks before them.
template <class Each>
void for_each_line(std::string_view text, Each each) {
    base::Tokens lines(text, "\n");
    for (std::string_view line; lines.next(line);)
        each(line.substr(std::min(line.find_first_not_of(" \t"), line.size())));
}

}  // namespace platform
