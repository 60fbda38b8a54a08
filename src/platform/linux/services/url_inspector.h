#pragma once

#include <string>

// The process beside platformd that looks into packets for the URL filter.

namespace platform::platformd::url_filter {

/// From now on it runs and holds this list; with an empty message it ends. It is asked every second
/// whether it still lives, and killed when it has not answered for two: it then starts again, and
/// meanwhile packets pass. To be called on the event loop.
void keep_inspector(const std::string& list_message);

/// Why packets are not judged by that list, in a few words; empty when they are, when that is a
/// matter of two seconds at most, and when there is none.
std::string inspector_trouble();

}  // namespace platform::platformd::url_filter
