#pragma once

#include <string>

namespace platform::platformd {

/// Appends what platformd has to say to an audit (audit_line.h): what it has been told, and where
/// the kernel differs from that. While changes wait for a pause it only says so.
void append_audit(std::string& out);

}  // namespace platform::platformd
