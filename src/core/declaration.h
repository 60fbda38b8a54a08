#pragma once

namespace appcfg {

/// Not constexpr and nowhere defined: a declaration whose compile-time check gets here does not
/// compile, and the compiler shows the reason.
void bad_declaration(const char* reason);

}  // namespace appcfg
