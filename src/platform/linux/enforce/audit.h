#pragma once

#include <string>

namespace platform::platformd::enforce {

/// Compares what the states ask for with what is in force, and appends a line of an audit
/// (audit_line.h) for each difference. What is asked for goes through the kernel, too, in tables
/// that filter nothing and are there for that moment only: both are then told in the same words.
void audit_kernel(std::string& out);

}  // namespace platform::platformd::enforce
