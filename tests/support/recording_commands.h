#pragma once

#include <functional>
#include <string>
#include <vector>

// What the daemon has others do: shell lines, and calls of other bus objects. Nothing is run, all
// is noted in one order. A call reads "rc init {"name":...}". May be used by several threads.

namespace recording_commands {

using Lines = std::vector<std::string>;

/// Forgets everything. The bus, where there is one, knows the object `rc`.
void reset();

/// The lines since the last `reset` or `take`, and forgets them.
Lines take();

/// Runs the event loop until `line` has been noted `count` times since the last `reset` or `take`,
/// at most five seconds. False if it was not.
[[nodiscard]] bool wait_for(const std::string& line, int count = 1);

/// Calls `hook` with every line, on the thread that wants it run, after it has been noted.
void on_line(std::function<void(const std::string&)> hook);

}  // namespace recording_commands
