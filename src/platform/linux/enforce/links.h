#pragma once

// Network devices and queues that others make, change and remove: a bridge that is set up anew has
// lost what hung on it.

namespace platform::platformd::enforce {

/// Has `changed` called, on the event loop, after that, at most once a second; our own changes do
/// not count. False when the kernel does not tell.
bool links_start(void (*changed)());
void links_stop();

}  // namespace platform::platformd::enforce
