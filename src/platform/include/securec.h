#pragma once

#include <cstddef>

// The bounded-function library: every copy into a fixed buffer goes through these. They return 0 on
// success; on failure the destination is made empty (text) or cleared (memory). Formatting
// functions return the number of characters written, -1 on failure or when the text does not fit. A
// null source is a failure like any other, a null destination is left alone; the two never overlap.

extern "C" {

/// Fails when `count` is more than `dest_size`; the destination is then filled to its end.
int memset_s(void* dest, size_t dest_size, int value, size_t count);
int memcpy_s(void* dest, size_t dest_size, const void* src, size_t count);

/// Fails when `src` with its NUL does not fit.
int strcpy_s(char* dest, size_t dest_size, const char* src);

/// Copies at most `count` characters of `src` and terminates. Fails when these do not fit.
int strncpy_s(char* dest, size_t dest_size, const char* src, size_t count);

/// Writes at most `count` characters; a longer text is cut there and -1 returned.
int snprintf_s(char* dest, size_t dest_size, size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
int sprintf_s(char* dest, size_t dest_size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// As sscanf, for number conversions; returns the number of conversions, -1 on failure.
int sscanf_s(const char* text, const char* format, ...) __attribute__((format(scanf, 2, 3)));

/// As strtok_r.
char* strtok_s(char* text, const char* delimiters, char** context);
}
