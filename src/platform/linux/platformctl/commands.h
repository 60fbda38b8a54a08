#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <span>
#include <string>

// platformctl's commands. Each gets the words behind its name and returns the exit status: 0 when
// the platform did as it was told, 1 with a line on standard error when not, kUsageStatus when the
// words make no sense.

namespace platform::platformctl {

inline constexpr int kUsageStatus = 2;

using Words = std::span<char* const>;

int show_state(Words words);
int show_trace(Words words);
int audit(Words words);
int make_fail(Words words);
int make_die(Words words);
int make_hang(Words words);
int call_name(Words words);
int list_names(Words words);
int set_level(Words words);
int release(Words words);

/// Reads a whole text of platformd's (control.h), of all services where `service` is ""; one that
/// changes between two pieces is read again. 0, kControlUnknown or another refusal.
int32_t read_text(const char* call, const char* service, std::string& text);

/// Prints "platformctl: ..." on standard error and returns EXIT_FAILURE.
__attribute__((format(printf, 1, 2))) int complain(const char* format, ...);

/// Reads a whole word as a decimal or 0x... number of type Number. False if it is none.
template <class Number>
bool parse_number(const char* word, Number& number) {
    using Limits = std::numeric_limits<Number>;
    char* end;
    errno = 0;
    const long long value = strtoll(word, &end, 0);
    if (errno != 0 || end == word || *end != '\0') return false;
    if (value < Limits::min() || value > Limits::max()) return false;
    number = static_cast<Number>(value);
    return true;
}

}  // namespace platform::platformctl
