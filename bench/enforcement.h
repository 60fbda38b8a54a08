#pragma once

#include "bus_client.h"

// What the kernel does, and what it takes to tell it.

/// Whether there is a kernel that can be told; if not, none of the others works.
bool is_enforced();

enum class InForce { Rules, Queues };

/// Microseconds of a call, from its beginning until the kernel has new rules, or a changed class.
double until_in_force(BusClient& bus, const BusCall& call, InForce what = InForce::Rules);

/// Microseconds in which the kernel takes that many IP filter rules in place of others.
double rules_transaction(int rules);

/// Packets of the smallest size that the gateway forwards in a second, from a host to the provider.
double forwarding_rate();
