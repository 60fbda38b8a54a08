#include <algorithm>
#include <string_view>
#include <vector>

#include "base/child.h"
#include "platform/include/zu_ipc.h"
#include "platform/include/zu_os.h"
#include "platform/linux/platformd/callees.h"

// The platform in this very process: calls go straight to the services' code, without faults, and
// of the daemon's commands those are run that this network can take.

namespace {

constexpr std::string_view kTools[] = {"ebtables ", "iptables ", "ip6tables "};

bool is_tool(std::string_view line) {
    return std::ranges::any_of(kTools, [line](auto tool) { return line.starts_with(tool); });
}

}  // namespace

extern "C" int32_t zu_ipc_call(const char* name, void* record, uint32_t size) {
    const auto* callee = platform::platformd::find_callee(name);
    if (!callee || size != (callee->layout() ? callee->layout()->size : 0)) return -1;
    return callee->handle(record);
}

extern "C" int32_t zu_ipc_asyn_call(const char* name, const void* record, uint32_t size) {
    const auto* bytes = static_cast<const uint8_t*>(record);
    std::vector<uint8_t> copy(bytes, bytes + size);
    static_cast<void>(zu_ipc_call(name, copy.data(), size));
    return 0;
}

extern "C" int32_t zu_os_execcmd(const char* line) {
    if (!is_tool(line)) return 0;
    const char* const argv[] = {"/bin/sh", "-c", line, nullptr};
    return base::run(argv);
}
