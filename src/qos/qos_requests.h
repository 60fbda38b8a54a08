#pragma once

#include "core/outcome.h"
#include "qos/qos_records.h"

// What front ends ask of QoS in other steps than the operations have. Success, or the operation
// that failed, by the text that front ends know.

namespace appcfg::qos {

inline constexpr const char* kClfSetFailure = "igdCmQosClfAttrSet error";
inline constexpr const char* kTypeSetFailure = "igdCmQosClfTypeAttrSet error";

/// The basic attributes as they arrive: the switch for traffic classes is asked for, and not used.
struct BasicRequest {
    Basic basic;
    uint8_t ucEnableTcMark;
};

/// Sets all basic attributes; traffic classes are marked as DSCPs are.
Outcome set_basic(BasicRequest& request);

/// Appends a classification, or a type, and sets it by the index that it got. What was appended
/// stays if it cannot be set.
Outcome add_and_set_classification(Clf& request);
Outcome add_and_set_type(ClfType& request);

}  // namespace appcfg::qos
