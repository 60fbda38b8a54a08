#include "platform/linux/platformd/answer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/linux/ipc_wire.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/platformd/faults.h"
#include "platform/linux/platformd/history.h"

namespace platform::platformd {

namespace {

constexpr uint32_t kMillisecondsPerSecond = 1000;

bool fits(const Callee* callee, size_t record_size) {
    if (!callee) return false;
    return record_size == (callee->layout() ? callee->layout()->size : 0);
}

IpcAnswer perform(const Callee& callee, const IpcCall& call) {
    Fault fault{};
    if (!take_fault(call.name, fault)) return {callee.handle(call.record.data())};
    if (fault.kind == FaultKind::Fail) return {fault.result};
    if (fault.kind == FaultKind::Die) _exit(EXIT_FAILURE);
    return {callee.handle(call.record.data()), fault.seconds * kMillisecondsPerSecond};
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
