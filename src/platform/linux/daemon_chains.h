#pragma once

#include <string>

namespace platform {

/// Appends, as lines of an audit (audit_line.h), what stands in netfilter's tables of the chains
/// that the daemon makes by itself, and the jumps to them; of those of queues, which others fill,
/// only that they are there. What a tool cannot tell is not there. Runs the tools; takes some
/// milliseconds.
void append_daemon_chains(std::string& out);

}  // namespace platform
