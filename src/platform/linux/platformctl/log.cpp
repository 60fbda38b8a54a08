#include <cstring>

#include "base/log_modules.h"
#include "platform/linux/log_gate.h"
#include "platform/linux/platformctl/commands.h"

namespace platform::platformctl {

namespace {

struct NamedModule {
    const char* name;
    uint32_t id;
};

constexpr NamedModule kModules[] = {
    {"security", base::kLogSecurity},
    {"loopback", base::kLogLoopback},
    {"qos", base::kLogQos},
    {"lanhost", base::kLogLanHost},
};

bool parse_module(const char* word, uint32_t& id) {
    for (const auto& module : kModules) {
        if (strcmp(module.name, word) != 0) continue;
        id = module.id;
        return true;
    }
    return parse_number(word, id) && id != 0;
}

}  // namespace

int set_level(Words words) {
    uint32_t module;
    uint32_t level;
    if (words.size() != 2) return kUsageStatus;
    if (!parse_module(words[0], module) || !parse_number(words[1], level)) return kUsageStatus;
    if (set_log_level(module, level)) return EXIT_SUCCESS;
    return complain("the file of the log levels cannot be used, or is full");
}

}  // namespace platform::platformctl
