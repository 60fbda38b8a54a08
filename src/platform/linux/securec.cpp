#include "platform/include/securec.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

// What no bounded-function library does as the gateway's own does it; the rest stands in
// securec/, once on a library and once without one.

namespace {

int format_into(char* dest, size_t dest_size, const char* format, va_list arguments) {
    if (!dest || dest_size == 0) return -1;
    const int length = vsnprintf(dest, dest_size, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < dest_size) return length;
    dest[0] = '\0';
    return -1;
}

}  // namespace

extern "C" {

int snprintf_s(char* dest, size_t dest_size, size_t count, const char* format, ...) {
    if (!dest || dest_size == 0) return -1;
    va_list arguments;
    va_start(arguments, format);
    // The text is cut after `count` characters, if the destination holds as many.
    const bool cut_fits = count < dest_size;
    const int length = cut_fits ? vsnprintf(dest, count + 1, format, arguments)
                                : format_into(dest, dest_size, format, arguments);
    va_end(arguments);
    if (!cut_fits || (length >= 0 && static_cast<size_t>(length) <= count)) return length;
    return -1;
}

int sprintf_s(char* dest, size_t dest_size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = format_into(dest, dest_size, format, arguments);
    va_end(arguments);
    return length;
}

char* strtok_s(char* text, const char* delimiters, char** context) {
    return strtok_r(text, delimiters, context);
}
}
