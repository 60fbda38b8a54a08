#pragma once

#include "records/ip_filter.h"
#include "security/ip_filter/ip_filter.h"

// How the IP filter's records are told to the platform, for its own files only.

namespace appcfg {

/// The modes of `directions` as the attributes have them.
st_filter_mode filter_mode(const IgdSecurIpFilterAttrTab& attr, uint32_t directions);

/// Hands a rule to one of the platform's rule calls; its result.
[[nodiscard]] int32_t call_rule(const platform::Call<st_filter_list>& callee,
                                const IgdSecurIpFilterListTab& rule);

}  // namespace appcfg
