#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/include/zu_record.h"

// A service of the platform: a file in platform/linux/services that keeps what the real service
// would hold, has one row per call in a table, and registers itself. The rest of platformd sees to
// finding calls, checking records, tracing, faults and `platformctl state`.

/// One call: its name, the record it takes and what it does. Made by `service_call`.
struct ServiceCall {
    const char* name;
    const RecordLayout* layout;  ///< null: no record
    int32_t (*handle)(void* record);
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

void layout_is_not_that_of_the_record_taken();

/// A call handled by `Handle(record)`, which may change the record and returns the result.
template <auto Handle>
consteval ServiceCall service_call(const char* name, const RecordLayout& layout) {
    using Record = decltype(record_taken_by(Handle));
    if (layout.size != sizeof(Record)) layout_is_not_that_of_the_record_taken();
    return {name, &layout,
            [](void* record) -> int32_t { return Handle(*static_cast<Record*>(record)); }};
}

/// Appends one line of state, indented.
__attribute__((format(printf, 2, 3))) void state_line(std::string& out, const char* format, ...);

/// Appends one line with a record's fields behind a label.
void state_record(std::string& out, const std::string& label, const RecordLayout& layout,
                  const void* record);
