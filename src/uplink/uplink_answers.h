#pragma once

#include "core/method.h"
#include "core/result.h"

// Answers that several methods share. A package that cannot be written has no text of its own: it
// answers as one that cannot be loaded.

namespace appcfg::uplink {

inline constexpr char kNoContext[] = "Failed to allocate UCI context";
inline constexpr char kNoNetwork[] = "Failed to load network config";
inline constexpr char kNoAutoWan[] = "Failed to load auto_wan config";

/// An argument makes no sense.
inline Outcome refused(const char* reason) {
    return {kMissingArgument, reason};
}

inline Outcome failed(const char* reason) {
    return {IGD_CM_OPERATE_FAIL, reason};
}

}  // namespace appcfg::uplink
