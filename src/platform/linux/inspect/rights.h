#pragma once

#include <string>

namespace platform::inspect {

/// From now on the process may give verdicts, answer on the sockets that it has, and nothing else:
/// no files, no programs, no new sockets. False leaves in `error` why not.
bool limit_rights(std::string& error);

}  // namespace platform::inspect
