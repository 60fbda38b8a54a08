#pragma once

#include <algorithm>
#include <string_view>

namespace base {

/// Takes a text apart at any of the separators; empty fields are skipped. The text is not changed
/// and not read beyond its end. Of the text, only what is behind the last token and the one
/// separator after it is looked at again: a caller may end a token there, in a text of its own.
class Tokens {
  public:
    constexpr Tokens(std::string_view text, std::string_view separators)
        : rest_(text), separators_(separators) {}

    /// False when there is none left.
    constexpr bool next(std::string_view& token) {
        const size_t begin = std::min(rest_.find_first_not_of(separators_), rest_.size());
        const size_t end = std::min(rest_.find_first_of(separators_, begin), rest_.size());
        token = rest_.substr(begin, end - begin);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return !token.empty();
    }

    /// As much of the next token as fits, NUL-terminated.
    template <size_t Size>
    constexpr bool next(char (&token)[Size]) {
        std::string_view whole;
        const bool found = next(whole);
        token[whole.copy(token, Size - 1)] = '\0';
        return found;
    }

  private:
    std::string_view rest_;
    std::string_view separators_;
};

}  // namespace base
