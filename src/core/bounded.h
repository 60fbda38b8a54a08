#pragma once

#include <cstddef>
#include <cstdio>
#include <type_traits>

#include "securec.h"

// Copies into fixed buffers whose size is taken from the buffer itself. A bounded function that
// fails is reported on standard output, whatever the log gate says, and the caller carries on.

namespace appcfg {

/// Where a bounded copy was asked for: the caller's function and line.
struct CallSite {
    const char* function;
    int line;

    /// For default arguments. A consteval one would name the function that has it as its default.
    static constexpr CallSite here(const char* function = __builtin_FUNCTION(),
                                   int line = __builtin_LINE()) {
        return {function, line};
    }
};

/// Prints the failure line of the bounded function `name`; nothing when `result` is 0.
inline void report_bounded(const char* name, int result, CallSite site) {
    if (result != 0)
        std::printf("%s,%d :%s return[%d] failed \r\n", site.function, site.line, name, result);
}

template <class Record>
void zero(Record& record, CallSite site = CallSite::here()) {
    static_assert(std::is_trivially_copyable_v<Record>);
    report_bounded("memset_s", memset_s(&record, sizeof(record), 0, sizeof(record)), site);
}

template <class Record>
void copy_record(Record& to, const Record& from, CallSite site = CallSite::here()) {
    static_assert(std::is_trivially_copyable_v<Record>);
    report_bounded("memcpy_s", memcpy_s(&to, sizeof(to), &from, sizeof(from)), site);
}

/// Copies text that is known to fit; a text that does not leaves `to` empty.
template <size_t Size>
void copy_text(char (&to)[Size], const char* from, CallSite site = CallSite::here()) {
    report_bounded("strcpy_s", strcpy_s(to, Size, from), site);
}

/// Copies as much of the text as fits.
template <size_t Size>
void cut_text(char (&to)[Size], const char* from, CallSite site = CallSite::here()) {
    report_bounded("strncpy_s", strncpy_s(to, Size, from, Size - 1), site);
}

}  // namespace appcfg
