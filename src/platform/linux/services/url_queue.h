#pragma once

#include <string>

// How packets get into the URL filter's queue. Kernels differ in which of nftables and iptables may
// put them there.

namespace platform::platformd::url_filter {

/// Whether nftables may; found out once.
bool nft_may_queue();

/// Where it may not, iptables and ip6tables have one rule for it from now on, or none; what another
/// program removes is put back within five seconds. Takes some milliseconds when there is something
/// to do. To be called on the event loop.
void keep_queue_rule(bool wanted);

/// Why it is not as wanted, in a few words; empty when it is.
std::string queue_rule_trouble();

}  // namespace platform::platformd::url_filter
