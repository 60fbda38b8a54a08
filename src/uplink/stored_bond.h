#pragma once

#include <cstdint>

#include "core/method.h"
#include "uci_file.h"
#include "uplink/la_request.h"
#include "uplink/names.h"

// The bond in the package network: the interface `la` carries the device bond-la, which is the
// lower device of every WAN connection. The bond exists exactly while `la` has the protocol
// "bonding".

namespace appcfg::uplink {

/// The interface section `la`, whatever its protocol; null if there is none.
uci_section* find_la_interface(uci_package* network);

/// True if the package network holds an interface `la`, whatever its protocol.
bool la_interface_exists();

/// The slaves of the interface `la`; none if there is none.
void read_stored_slaves(Names& slaves);

/// Stores the bond of `slaves`. They leave the LAN bridge; those of the bond before return to it,
/// or `previous_port`, the WAN uplink so far, if there was none.
Outcome store_bond(uci_context* context, const LaRequest& request, const Names& slaves,
                   const char* previous_port);

enum class BondRemoval : uint8_t {
    NotLoaded,  ///< the package network cannot be loaded or is not to be changed now
    NotStored,  ///< it could not be written and is as it was
    NoBond,
    Removed,
};

/// Removes the bond: it leaves the LAN bridge and its slaves return to it.
BondRemoval remove_stored_bond(uci_context* context);

}  // namespace appcfg::uplink
