// For systems that have no bounded-function library in their package archive.
#include "platform/include/securec.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

extern "C" {

int memset_s(void* dest, size_t dest_size, int value, size_t count) {
    if (!dest) return EINVAL;
    memset(dest, value, std::min(count, dest_size));
    return count <= dest_size ? 0 : ERANGE;
}

int memcpy_s(void* dest, size_t dest_size, const void* src, size_t count) {
    if (!dest) return EINVAL;
    if (src && count <= dest_size) {
        memcpy(dest, src, count);
        return 0;
    }
    memset(dest, 0, dest_size);
    return src ? ERANGE : EINVAL;
}

int strcpy_s(char* dest, size_t dest_size, const char* src) {
    return strncpy_s(dest, dest_size, src, dest_size);
}

int strncpy_s(char* dest, size_t dest_size, const char* src, size_t count) {
    if (!dest || dest_size == 0) return EINVAL;
    const size_t length = src ? strnlen(src, std::min(count, dest_size)) : dest_size;
    if (length < dest_size) {
        memcpy(dest, src, length);
        dest[length] = '\0';
        return 0;
    }
    dest[0] = '\0';
    return src ? ERANGE : EINVAL;
}

int sscanf_s(const char* text, const char* format, ...) {
    if (!text || !format) return -1;
    va_list arguments;
    va_start(arguments, format);
    const int conversions = vsscanf(text, format, arguments);
    va_end(arguments);
    return conversions;
}
}
