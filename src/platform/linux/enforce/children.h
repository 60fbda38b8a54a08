#pragma once

#include <string>
#include <string_view>
#include <vector>

// Processes that run beside platformd for as long as a service wants them. They live on when
// platformd ends, however it ends: the next one finds them again by RUN/appcfg/pid.NAME.

namespace platform::platformd::enforce {

struct Child {
    std::string name;                ///< begins with its service's name; fit for a file's name
    std::vector<std::string> words;  ///< the program, looked for in PATH, and its arguments
};

/// From now on these run, and no others whose names begin with `service`. One that runs with other
/// words is ended, then started anew; one that dies is started again after 1 s, and after twice the
/// time at each further death, up to 60 s, until it has once lived for a minute. One that has not
/// followed SIGTERM within 2 s is killed. Nothing of it is waited for: whenever one begins to serve
/// or ends, `enforce::changed()`. To be called on the event loop.
void keep_children(std::string_view service, const std::vector<Child>& wanted);

/// Whether it runs, and has for 200 ms: by then it is ready, or has ended for want of something.
bool child_serves(std::string_view name);
/// What has gone wrong with one since it last served, in a few words; empty when nothing has.
std::string child_trouble(std::string_view name);

/// False when there is none that serves. One that hangs is to get SIGKILL, for it starts again like
/// one that died by itself.
bool signal_child(std::string_view name, int signal);

}  // namespace platform::platformd::enforce
