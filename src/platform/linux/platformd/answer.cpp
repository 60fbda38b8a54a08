#include "platform/linux/platformd/answer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/linux/enforce/applier.h"
#include "platform/linux/ipc_wire.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/platformd/faults.h"
#include "platform/linux/platformd/history.h"
#include "platform/linux/platformd/memory.h"

namespace platform::platformd {

namespace {

constexpr uint32_t kMillisecondsPerSecond = 1000;

bool fits(const Callee* callee, size_t record_size) {
    if (!callee) return false;
    return record_size == (callee->layout() ? callee->layout()->size : 0);
}

// Once the caller has its answer, the call counts, even if we end before the kernel follows.
int32_t handle(const Callee& callee, const IpcCall& call) {
    if (!enforce::is_on() || !callee.is_repeated()) return callee.handle(call.record.data());
    const std::vector<uint8_t> taken(call.record.begin(), call.record.end());
    const auto result = callee.handle(call.record.data());
    if (result == 0) {
        memory_append(callee.name, taken);
        enforce::changed();
    }
    return result;
}

IpcAnswer perform(const Callee& callee, const IpcCall& call) {
    Fault fault{};
    if (!take_fault(call.name, fault)) return {handle(callee, call)};
    if (fault.kind == FaultKind::Fail) return {fault.result};
    if (fault.kind == FaultKind::Die) _exit(EXIT_FAILURE);
    return {handle(callee, call), fault.seconds * kMillisecondsPerSecond};
}

}  // namespace

IpcAnswer answer_call(const IpcCall& call) {
    IpcAnswer answer{kIpcRefused};
    if (answer_control(call, answer)) return answer;
    const auto* callee = find_callee(call.name);
    const bool known = fits(callee, call.record.size());
    PastCall past{.kind = call.asynchronous ? "async" : "sync",
                  .name = std::string(call.name),
                  .layout = known ? callee->layout() : nullptr,
                  .record = {call.record.begin(), call.record.end()},
                  .returned = {},
                  .result = kIpcRefused};
    if (known) answer = perform(*callee, call);
    past.result = answer.result;
    if (!std::ranges::equal(past.record, call.record))
        past.returned.assign(call.record.begin(), call.record.end());
    remember_call(std::move(past));
    return answer;
}

}  // namespace platform::platformd
