#pragma once

#include <cstdint>

namespace appcfg {

/// How an operation with more than one way to fail ended: no reason means success; reason and code
/// are the front end's to interpret.
struct [[nodiscard]] Outcome {
    int32_t code = 0;
    const char* reason = nullptr;

    bool ok() const { return reason == nullptr; }

    /// Of an operation's result code: `reason` names the operation that failed.
    static constexpr Outcome of(int32_t code, const char* reason) {
        return {code, code == 0 ? nullptr : reason};
    }
};

}  // namespace appcfg
