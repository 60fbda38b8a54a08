#pragma once

#include <string>

// The kernel's packet filter, by texts in nftables' language. Where platformd is built without
// libnftables, everything fails and says so.

namespace platform::platformd::enforce {

/// Each takes a whole text as one transaction: all of it happens, or nothing. False leaves in
/// `error` why, in one line.
bool nft_run(const std::string& text, std::string& error);
/// Only asks whether it would be taken, as far as can be told without doing it.
bool nft_check(const std::string& text, std::string& error);

enum class Counters : bool { Shown, Hidden };

/// What a `list` command prints; empty when it fails.
std::string nft_list(const std::string& command, Counters counters = Counters::Shown);

}  // namespace platform::platformd::enforce
