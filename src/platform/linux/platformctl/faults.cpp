#include <cstring>

#include "platform/include/zu_ipc.h"
#include "platform/linux/control.h"
#include "platform/linux/platformctl/commands.h"

namespace platform::platformctl {

namespace {

int arm(const char* name, ControlFault fault) {
    if (strlen(name) < sizeof(fault.name)) strcpy(fault.name, name);
    const auto result = zu_ipc_call(kFaultCall, &fault, sizeof(fault));
    if (result == 0) return EXIT_SUCCESS;
    if (result == kControlUnknown) return complain("platformd has no call %s", name);
    return complain("platformd does not answer");
}

}  // namespace

int make_fail(Words words) {
    ControlFault fault{.kind = FaultKind::Fail, .count = 1, .result = -1, .seconds = 0, .name = {}};
    if (words.empty() || words.size() > 3) return kUsageStatus;
    if (strcmp(words[0], "--clear") == 0) {
        fault.kind = FaultKind::ClearAll;
        return words.size() == 1 ? arm("", fault) : kUsageStatus;
    }
    if (words.size() > 1 && !parse_number(words[1], fault.count)) return kUsageStatus;
    if (words.size() > 2 && !parse_number(words[2], fault.result)) return kUsageStatus;
    return arm(words[0], fault);
}

int make_die(Words words) {
    if (words.size() != 1) return kUsageStatus;
    return arm(words[0],
               {.kind = FaultKind::Die, .count = 1, .result = 0, .seconds = 0, .name = {}});
}

int make_hang(Words words) {
    ControlFault fault{.kind = FaultKind::Hang, .count = 1, .result = 0, .seconds = 0, .name = {}};
    if (words.size() != 2 || !parse_number(words[1], fault.seconds)) return kUsageStatus;
    if (fault.seconds > kMaxHangSeconds)
        return complain("%u seconds are the most it can hang", kMaxHangSeconds);
    return arm(words[0], fault);
}

}  // namespace platform::platformctl
