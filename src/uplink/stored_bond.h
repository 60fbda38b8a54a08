#pragma once

#include <cstdint>

#include "core/method.h"
#include "uci_file.h"
#include "uplink/names.h"

// The bond in the package network: the interface `la` carries the device bond-la, which is the
// lower device of every WAN connection. The bond exists exactly while `la` has the protocol
// "bonding".

namespace appcfg::uplink {

/// Texts longer than this do not become options of the bond: nothing that is read back is longer,
/// and a reply with all of them stays far below what the bus carries.
inline constexpr size_t kLongestOption = 255;

struct LaRequest {
    Names slaves;
    uint32_t slave_count;  ///< as the caller counts: each text is one, whatever it holds
    char bonding_policy[32];
    // Set as given; null or empty: the option stays as it is.
    const char* packets_per_slave;
    const char* primary;
    const char* primary_reselect;
    const char* xmit_hash_policy;
    const char* lacp_rate;
    const char* ad_select;
    const char* tlb_dynamic_lb;
};

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

/// The interface section `la`, whatever its protocol; null if there is none.
uci_section* find_la_interface(uci_package* network);

/// True if the package network holds an interface `la`, whatever its protocol.
bool la_interface_exists();

/// The slaves of the interface `la`; none if there is none.
void read_stored_slaves(Names& slaves);

/// Stores the bond. Its slaves leave the LAN bridge; those of the bond before return to it, or
/// `previous_port`, the WAN uplink so far, if there was none.
Outcome store_bond(uci_context* context, const LaRequest& request, const char* previous_port);

enum class BondRemoval : uint8_t {
    NotLoaded,  ///< the package network cannot be loaded or is not to be changed now
    NotStored,  ///< it could not be written and is as it was
    NoBond,
    Removed,
};

/// Removes the bond: it leaves the LAN bridge and its slaves return to it.
BondRemoval remove_stored_bond(uci_context* context);

}  // namespace appcfg::uplink
