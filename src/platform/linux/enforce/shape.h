#pragma once

#include <string>

#include "platform/linux/enforce/trees.h"

// The queues that all services ask for together, and whether the kernel has them.

namespace platform::platformd::enforce {

Trees wanted_trees();

/// Has the kernel follow if trees or devices have changed since it last did. Rules name classes, so
/// this is for after them. False leaves in `error` what is not in force.
bool shape_follow(std::string& error);

/// Devices or queues may have been changed by others: the next `shape_follow` looks at the kernel.
void shape_look_again();

}  // namespace platform::platformd::enforce
