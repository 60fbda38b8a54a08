#include "core/log.h"

#include <cstdarg>
#include <cstdio>

namespace appcfg {

void log_line(const LogSource& source, const char* operation, int line, const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    // Worker threads print too: a line is never split.
    flockfile(stdout);
    std::printf(source.frame, operation, line);
    std::vprintf(text, arguments);
    funlockfile(stdout);
    va_end(arguments);
}

}  // namespace appcfg
