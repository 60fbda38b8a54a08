#pragma once

// Other programs and our tables: a firewall that is set up anew may begin by removing all there is.

namespace platform::platformd::enforce {

/// Has `changed` called, on the event loop, after another program has changed or removed our tables
/// or something in them. False when the kernel does not tell.
bool watch_start(void (*changed)());
void watch_stop();

}  // namespace platform::platformd::enforce
