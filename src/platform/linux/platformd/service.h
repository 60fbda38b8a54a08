#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/linkage.h"
#include "platform/include/zu_call.h"
#include "platform/linux/enforce/outside.h"
#include "platform/linux/enforce/rules.h"
#include "platform/linux/enforce/trees.h"
#include "platform/linux/platformd/memory.h"

// A service of the platform: a file in platform/linux/services that keeps what the real service
// would hold, has one row per call in a table, and registers itself. The rest of platformd sees to
// finding calls, checking records, tracing, faults, `platformctl state`, and that the kernel
// follows.

namespace platform::platformd {

/// One call: its name, the record it takes and what it does. Made by `service_call`, or by
/// `service_question` when it leaves the state as it is.
struct ServiceCall {
    const char* name;
    const RecordLayout* layout;  ///< null: no record
    int32_t (*handle)(void* record, uint32_t size);
    bool changes = true;
};

struct Service {
    /// As `platformctl state` shows it.
    const char* name;
    /// The library function by which the daemon initialises the service, if there is one, and what
    /// it does to the state.
    const char* init = nullptr;
    void (*reset)() = nullptr;
    std::span<const ServiceCall> calls = {};
    /// Appends the state with `state_line` and `state_record`; null when there is none to show.
    /// The same state always gives the same text.
    void (*print)(std::string& out) = nullptr;
    /// Appends, in the same way and in any order, what the state is as far as the daemon's tables
    /// make it so and it makes a difference: an audit compares it with what a replay of the tables
    /// makes of an empty state. Often `print`; null: the tables have no part in it.
    void (*told)(std::string& out) = nullptr;
    /// What the state means in the kernel; null for a service that only remembers.
    const enforce::Rules* rules = nullptr;
    /// Adds the queues that the state asks for; null: none.
    void (*shape)(enforce::Trees& trees) = nullptr;
    /// What it asks for beside rules and queues; null: nothing.
    const enforce::Outside* outside = nullptr;
    /// Lists calls that make an empty state this one; null for a service that may begin anew.
    void (*repeat)(CallList& calls) = nullptr;
};

/// Makes a service known; to be a static object of the service's file.
class ServiceRegistration {
  public:
    explicit ServiceRegistration(const Service& service);

    const Service service;
    bool initialised = false;
    ServiceRegistration* const next;

    static ServiceRegistration* first();
};

template <class Record>
Record record_taken_by(int32_t (*handle)(Record&));

template <auto Handle, class Record>
int32_t handle_record(void* bytes, uint32_t size) {
    Record record{};
    memcpy(&record, bytes, size);
    const int32_t result = Handle(record);
    memcpy(bytes, &record, size);
    return result;
}

/// `call` is answered by `Handle(record)`, which may change the record and returns the result. The
/// handler gets a copy of its own, for a call may send a shorter form of the record. It stands in
/// its service's own namespace.
template <auto Handle, class Record>
consteval ServiceCall service_call(const Call<Record>& call) {
    static_assert(std::is_same_v<Record, decltype(record_taken_by(Handle))>,
                  "the handler takes another record than the call");
    static_assert(base::has_global_name<Handle>(), "the handler needs a name that is its own");
    return {call.name, call.layout, handle_record<Handle, Record>};
}

template <auto Handle, class Record>
consteval ServiceCall service_question(const Call<Record>& call) {
    auto question = service_call<Handle>(call);
    question.changes = false;
    return question;
}

/// What a line of state, or one of `observe`, says before any quoted text when it tells of
/// something that no kernel can be made to do; an audit shows it as such.
inline constexpr char kNotEnforced[] = "not enforced: ";
bool is_unenforceable(std::string_view line);

/// Appends one line of state, indented.
__attribute__((format(printf, 2, 3))) void state_line(std::string& out, const char* format, ...);

/// Appends one line with a record's fields behind a label.
void state_record(std::string& out, const std::string& label, const RecordLayout& layout,
                  const void* record);

}  // namespace platform::platformd
