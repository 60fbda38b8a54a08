// The declarations come before the library's headers, which turn most of the names into macros that
// add the size of the destination where the compiler knows it; here it is always the caller's word.
#include "platform/include/securec.h"

#include <safe_mem_lib.h>
#include <safe_str_lib.h>

// sscanf_s is the library's own.

extern "C" {

int(memset_s)(void* dest, size_t dest_size, int value, size_t count) {
    return memset_s(dest, dest_size, value, count);
}

int(memcpy_s)(void* dest, size_t dest_size, const void* src, size_t count) {
    return memcpy_s(dest, dest_size, src, count);
}

int(strcpy_s)(char* dest, size_t dest_size, const char* src) {
    return strcpy_s(dest, dest_size, src);
}

int(strncpy_s)(char* dest, size_t dest_size, const char* src, size_t count) {
    return strncpy_s(dest, dest_size, src, count);
}
}
