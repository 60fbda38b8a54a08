#pragma once

#include <cstdint>

#include "platform/include/zu_ipc.h"
#include "platform/include/zu_record.h"

// A platform call as the compiler knows it: the name it bears, the record it takes and what is in
// that record, declared once (see records/) and used by the module that calls and by the service
// that answers, so that nobody can send a record that is not the call's.

namespace platform {

void layout_is_longer_than_the_record();

template <class Record>
struct Call {
    const char* name;
    /// Says how much of the record is sent, too: one call may take a shorter form of a record than
    /// another.
    const LayoutOf<Record>* layout;

    consteval Call(const char* called, const LayoutOf<Record>& taken)
        : name(called), layout(&taken) {
        if (taken.size > sizeof(Record)) layout_is_longer_than_the_record();
    }
};

/// Calls the service and waits; the answer overwrites the record. Results as of `zu_ipc_call`.
template <class Record>
[[nodiscard]] int32_t call(const Call<Record>& callee, Record& record) {
    return zu_ipc_call(callee.name, &record, callee.layout->size);
}

/// Hands the call over without waiting. Results as of `zu_ipc_asyn_call`.
template <class Record>
[[nodiscard]] int32_t queue(const Call<Record>& callee, const Record& record) {
    return zu_ipc_asyn_call(callee.name, &record, callee.layout->size);
}

}  // namespace platform
