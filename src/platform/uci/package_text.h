#pragma once

#include <uci.h>

#include <mutex>
#include <string>

// Between a package's text and libuci's model of it.

namespace storage {

/// Held wherever libuci touches state that is not its context's: the parser keeps its place in a
/// static of the C library's, and every new context is linked to the one list of back ends.
extern std::mutex libuci_statics;

/// Parses `text`, best with room for one more character, into `context`; null if it does not parse.
/// Safe from any thread.
uci_package* parse_package(uci_context* context, const char* name, std::string text);

/// Largest text of a package, read or written. One that somebody made by hand may be of any size,
/// and who runs out of memory for it is not told but ended.
inline constexpr size_t kLargestText = 4 << 20;

/// The package as libuci would export it, byte for byte; empty if that is larger than kLargestText.
/// `expected` is a guess of its size.
std::string format_package(const uci_package& package, size_t expected);

/// True if the package's text, once written, parses into the same sections again. libuci does not
/// prevent names that do not: types with quotes, section names with blanks or used twice.
bool sections_read_back(const uci_package& package);

}  // namespace storage
