#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

// The files that platformd keeps in RUN/appcfg, by their names there. Where others could put files
// into that folder it has none.

namespace platform::platformd {

inline constexpr mode_t kForUs = 0600;
inline constexpr mode_t kForAll = 0644;

std::string own_path(std::string_view name);

/// Empty when there is no such file, or somebody else could have written it.
std::string read_own_file(std::string_view name);
/// Replaces it whole: whoever reads finds the old text or the new one. False, with `errno`, when it
/// cannot.
bool write_own_file(std::string_view name, std::string_view text, mode_t mode = kForUs);
void remove_own_file(std::string_view name);
/// Names of the files that begin so, in no order.
std::vector<std::string> own_files(std::string_view beginning);

}  // namespace platform::platformd
