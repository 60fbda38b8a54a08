#include "platform/linux/control.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/linux/enforce/applier.h"
#include "platform/linux/platformd/answer.h"
#include "platform/linux/platformd/audit.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/platformd/faults.h"
#include "platform/linux/platformd/history.h"
#include "platform/linux/record_text.h"

namespace platform::platformd {

namespace {

void put_text(ControlText& reply, std::string_view text) {
    memset(reply.text, 0, sizeof(reply.text));
    memcpy(reply.text, text.data(), text.size());
    reply.length = static_cast<uint32_t>(text.size());
}

/// The piece of a text that is asked for.
void put_piece(ControlText& request, const std::string& text) {
    const auto begin = std::min<uint64_t>(request.position, text.size());
    const auto piece = std::string_view(text).substr(begin, sizeof(request.text));
    put_text(request, piece);
    request.position = begin + piece.size();
    request.more = request.position < text.size();
    request.mark = std::hash<std::string>{}(text);
}

template <size_t Size>
std::string_view text_in(const char (&text)[Size]) {
    return {text, strnlen(text, Size)};
}

int32_t read_state(void* record) {
    auto& request = *static_cast<ControlText*>(record);
    // Packets are counted all the time: the pieces of one text come from one look at it.
    static std::string text;
    if (request.position == 0) text.clear();
    if (text.empty() && !append_state(text, text_in(request.text))) return kControlUnknown;
    put_piece(request, text);
    return 0;
}

int32_t read_audit(void* record) {
    auto& request = *static_cast<ControlText*>(record);
    static std::string text;
    if (request.position == 0) text.clear();
    if (text.empty()) append_audit(text);
    put_piece(request, text);
    return 0;
}

int32_t read_trace(void* record) {
    auto& request = *static_cast<ControlText*>(record);
    std::string text;
    request.position = append_history(text, request.position, sizeof(request.text));
    put_text(request, text);
    request.more = request.position < next_call_number();
    return 0;
}

int32_t describe(void* record) {
    auto& request = *static_cast<ControlText*>(record);
    const auto name = text_in(request.text);
    if (request.length > sizeof(request.text) || request.length <= name.size()) return kIpcRefused;
    const auto* callee = find_callee(name);
    const size_t size = request.length - name.size() - 1;
    if (!callee || !callee->layout() || callee->layout()->size != size) return kControlUnknown;
    const auto* bytes = reinterpret_cast<const uint8_t*>(request.text) + name.size() + 1;
    std::string text;
    append_record(text, *callee->layout(), {bytes, size});
    text.resize(std::min(text.size(), sizeof(request.text)));
    put_text(request, text);
    return 0;
}

int32_t clear_trace(void*) {
    forget_calls();
    return 0;
}

int32_t set_fault(void* record) {
    const auto& request = *static_cast<const ControlFault*>(record);
    if (request.kind == FaultKind::ClearAll) {
        disarm_all_faults();
        return 0;
    }
    if (request.kind > FaultKind::Hang || request.seconds > kMaxHangSeconds) return kIpcRefused;
    const auto name = text_in(request.name);
    if (!find_callee(name)) return kControlUnknown;
    arm_fault(name, {request.kind, request.count, request.result, request.seconds});
    return 0;
}

int32_t release(void*) {
    std::string error;
    if (enforce::release(error)) return 0;
    fprintf(stderr, "platformd: not released: %s\n", error.c_str());
    return kIpcRefused;
}

struct ControlCall {
    size_t record_size;
    int32_t (*handle)(void* record);
};

constexpr const char* kNames[] = {kStateCall, kAuditCall,    kTraceCall,  kTraceClearCall,
                                  kFaultCall, kDescribeCall, kReleaseCall};
constexpr ControlCall kCalls[] = {{sizeof(ControlText), read_state},
                                  {sizeof(ControlText), read_audit},
                                  {sizeof(ControlText), read_trace},
                                  {0, clear_trace},
                                  {sizeof(ControlFault), set_fault},
                                  {sizeof(ControlText), describe},
                                  {0, release}};
static_assert(std::size(kNames) == std::size(kCalls));

}  // namespace

std::span<const char* const> control_names() {
    return kNames;
}

bool answer_control(const IpcCall& call, IpcAnswer& answer) {
    for (size_t i = 0; i < std::size(kNames); ++i) {
        if (call.name != kNames[i]) continue;
        const bool fits = call.record.size() == kCalls[i].record_size;
        answer.result = fits ? kCalls[i].handle(call.record.data()) : kIpcRefused;
        return true;
    }
    return false;
}

}  // namespace platform::platformd
