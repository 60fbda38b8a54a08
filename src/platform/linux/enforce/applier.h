#pragma once

#include <string>

// Makes the kernel follow the services' states. A change of all rules reaches us as many calls, the
// first of which removes everything: the kernel gets what stands at the end, in one transaction,
// when calls have paused for 10 ms, or 100 ms after the first; what takes a rule away has to pause
// for 50 ms and gets there after 500 ms at the latest.

namespace platform::platformd::enforce {

/// Begins, on the event loop: the kernel holds what the services' states ask for, and later follows
/// what they ask for after `changed`; what other programs remove comes back within a second.
/// False leaves in `error` why it cannot be, and the kernel as it is.
bool start(std::string& error);
bool is_on();

/// A state may have changed.
void changed();
/// What is still to be done is done now, unless it takes a rule away.
void settle();
/// Whether changes wait for a pause in the calls.
bool is_waiting();
/// Why the kernel has refused what should be in force; empty when it has not.
const std::string& refusal();
/// Takes out all that is in force, also what an earlier platformd has left, and then forgets what
/// the next start would begin with. Nothing is enforced any more until then.
bool release(std::string& error);
/// Ends; what is in force stays.
void stop();

}  // namespace platform::platformd::enforce
