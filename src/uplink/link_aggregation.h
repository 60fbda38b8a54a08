#pragma once

#include <cstdint>

#include "core/method.h"
#include "uplink/uplink_uci.h"

using namespace appcfg;

// Link aggregation bonds two LAN ports into the device bond-la, which the interface `la` carries
// and which becomes the lower device of every WAN connection. It exists exactly while the package
// network holds the interface `la` with the protocol "bonding"; as long as it does, the WAN
// detection service is switched off.
//
// The operations answer with code -3 for arguments that make no sense and -1 for everything else.
// Nothing is rolled back: what was committed before a failure stays.

/// The bond's device.
inline constexpr char kBond[] = "bond-la";

/// Options of the bond that are set as given, in this order, and reported in this order.
struct LaTuning {
    const char* option;
    const char* failure;
};

#define LA_TUNING(option) \
    { #option, "Failed to set " #option }

inline constexpr LaTuning kLaTuning[] = {
    LA_TUNING(packets_per_slave), LA_TUNING(primary),   LA_TUNING(primary_reselect),
    LA_TUNING(xmit_hash_policy),  LA_TUNING(lacp_rate), LA_TUNING(ad_select),
    LA_TUNING(tlb_dynamic_lb),
};

struct LaRequest {
    Text slaves;           ///< joined by single spaces
    uint32_t slave_count;  ///< names that were given
    char bonding_policy[32];
    const char* tuning[std::size(kLaTuning)];  ///< as kLaTuning; null or empty: leave as it is
};

/// Stores the bond, switches WAN detection off and applies the change on a thread of its own. The
/// slaves leave the LAN bridge; those of the bond before, or the port that was the WAN uplink,
/// return to it.
Outcome link_aggregation_set(const LaRequest& request);

/// Removes the bond, arms WAN detection and applies the change on a thread of its own. Without a
/// bond nothing happens, except that the detection service has been stopped.
Outcome link_aggregation_del();

/// Removes the bond from the stored configuration only.
Outcome link_aggregation_del_no_commit();

/// Reports the bond. Front ends know two fields by names of their own: `binding_policy`, a number,
/// and, when there is no memory, `error` instead of `fail_reason`.
Outcome link_aggregation_get(ReplyBuffer& reply);

enum class BondRemoval : uint8_t {
    NotLoaded,  ///< the package network cannot be loaded or is not to be changed now
    NotStored,  ///< it could not be written and is as it was
    NoBond,
    Removed,
};

/// Removes the bond from the package network, as both deletes and the uplink mode do: the bond
/// leaves the LAN bridge and its slaves return to it.
BondRemoval remove_stored_bond(uci_context* context);

/// Arms WAN detection in its section, as after the removal of a bond. Returns what failed, null if
/// nothing.
const char* rearm_wan_detection(uci_section* auto_wan);

/// True if the package network holds an interface `la`, whatever its protocol.
bool la_interface_exists();

/// Appends `la` to the networks of the firewall's first wan zone; tells on standard output how that
/// went.
void add_la_to_wan_firewall_zone();

/// Applies a bond of `slaves` (joined by spaces) to the running network, on a thread of its own.
void start_la_apply_worker(const char* slaves);

/// Applies the removal of the bond to the running network, on a thread of its own, and then starts
/// the WAN detection service, or stops it if there is a bond again.
void start_la_remove_worker();

/// Has the init system's bus object `rc` do something with the WAN detection service: "enable",
/// "disable", "start" or "stop". Waits at most three seconds for it; says nothing if it fails. Only
/// for the event loop's thread.
void rc_auto_wan_action(const char* action);
