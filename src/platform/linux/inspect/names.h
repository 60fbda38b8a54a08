#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// What the readers of client streams share. All that they read is hostile.

namespace platform::inspect {

using Bytes = std::span<const uint8_t>;

/// How far the reading of a stream's beginning has come.
enum class Reading : uint8_t {
    Done,
    More,   ///< it goes on in bytes that have not come
    Other,  ///< it is not of this protocol
};

/// The host in "[USER@]HOST[:PORT]" as names are compared: small letters, no dot at the end. Of
/// what is none, something that is none either.
std::string host_in(std::string_view authority);

/// A path as paths are compared: "%61" is "a".
std::string decoded(std::string_view path);

/// Without blanks, line ends included, at both ends.
std::string_view trimmed(std::string_view text);

}  // namespace platform::inspect
