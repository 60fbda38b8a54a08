#pragma once

#include "core/method.h"
#include "uplink/stored_bond.h"

namespace appcfg::uplink {

/// The arguments of a bond as they came, in the order of LaRequest; `slaves` and `bonding_policy`
/// are there. Of the array `slaves` the first eight texts count, and what is no text does not; a
/// policy is cut to 31 characters. The request points into the arguments.
LaRequest read_la_request(GivenArguments given);

}  // namespace appcfg::uplink
