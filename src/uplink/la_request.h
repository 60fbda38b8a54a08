#pragma once

#include <cstddef>

#include "core/argument.h"

namespace appcfg::uplink {

/// What a caller asks of a bond.
struct LaRequest {
    TextList slaves;
    char bonding_policy[32];  ///< cut
    // Set as given; null or empty: the option stays as it is.
    const char* packets_per_slave;
    const char* primary;
    const char* primary_reselect;
    const char* xmit_hash_policy;
    const char* lacp_rate;
    const char* ad_select;
    const char* tlb_dynamic_lb;
};

/// Longer texts do not become options of the bond: nothing that is read back is longer, and a reply
/// with all of them stays far below what the bus carries.
inline constexpr size_t kLongestOption = 255;

/// An option of the bond that callers may set, in the order in which it is set and reported.
struct LaTuning {
    const char* option;
    const char* failure;
    const char* LaRequest::*value;
};

#define LA_TUNING(option) \
    { #option, "Failed to set " #option, &LaRequest::option }

inline constexpr LaTuning kLaTuning[] = {
    LA_TUNING(packets_per_slave), LA_TUNING(primary),   LA_TUNING(primary_reselect),
    LA_TUNING(xmit_hash_policy),  LA_TUNING(lacp_rate), LA_TUNING(ad_select),
    LA_TUNING(tlb_dynamic_lb),
};

#undef LA_TUNING

}  // namespace appcfg::uplink
