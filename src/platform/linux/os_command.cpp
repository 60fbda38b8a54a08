#include "base/child.h"
#include "platform/include/zu_os.h"

// In a file of its own, so that a program may have another way to run what `zu_os_vcmd` words.

extern "C" int32_t zu_os_execcmd(const char* line) {
    if (!line) return -1;
    const char* const argv[] = {"/bin/sh", "-c", line, nullptr};
    return base::run(argv);
}
