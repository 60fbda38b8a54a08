#pragma once

namespace replay {

/// From here on this process and its children see a network without devices and rules, and copies,
/// in memory, of what the daemon reads and writes. False, with `errno` set, when the kernel or the
/// lack of rights prevents it; nothing must be replayed then.
bool retreat();

}  // namespace replay
