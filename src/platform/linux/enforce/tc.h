#pragma once

#include <string>

#include "platform/linux/enforce/trees.h"

// The kernel's queues. Each place of trees.h is HTB at the root of its devices: the WAN devices,
// br-lan, and for what hosts send and get devices of ours, `ifb-up` and `ifb-dn`. One filter
// leads to `ifb-up` what br-lan hands to the gateway, one at each port of br-lan leads to `ifb-dn`
// what leaves there; frames between two ports pass it unlimited. Before they come to a slow tree on
// a WAN device or br-lan, packets pass a third device, `ifb-cut`, which makes single frames of
// them. Root queues of other programs are left alone.

namespace platform::platformd::enforce {

/// Makes the kernel's queues what the trees ask for, by as few changes as it takes; devices that do
/// not exist are left out. False leaves in `error` the first thing that could not be; all else is
/// in force.
bool tc_apply(const Trees& trees, std::string& error);

/// Takes out all that any `tc_apply` has made.
bool tc_release(std::string& error);

/// Appends a line of state for each class in the kernel, with the packets that it let pass and that
/// found no room.
void tc_list(std::string& out);

/// Appends a line for each thing in the kernel that is not as the trees ask, "warning: " before
/// what cannot be for want of a device.
void tc_audit(const Trees& trees, std::string& out);

}  // namespace platform::platformd::enforce
