#include <cstdarg>
#include <cstdio>

#include "platform/include/zu_os.h"

namespace {

constexpr size_t kMaxLine = 1024;

}  // namespace

extern "C" int32_t zu_os_vcmd(const char* format, ...) {
    char line[kMaxLine];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(line)) return -1;
    return zu_os_execcmd(line);
}
