#pragma once

#include "core/method.h"
#include "core/reply_buffer.h"

namespace appcfg::uplink {

/// Reports the bond; texts that others have stored are cut to 255 characters. Front ends know two
/// fields by names of their own: `binding_policy`, a number, and, when there is no memory, `error`
/// instead of `fail_reason`.
Outcome link_aggregation_get(ReplyBuffer& reply);

}  // namespace appcfg::uplink
