#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "base/linkage.h"
#include "core/method.h"
#include "core/table.h"
#include "zu_ipc.h"

// Operations that other processes of the platform call by name, with the operation's own record.

namespace appcfg {

/// What a caller gets whose record is not the operation's; the operation is not run.
inline constexpr int32_t kWrongRecord = 0x72200008;

/// An entry that runs an operation on the caller's record, which it may change. What the operation
/// stores is durable when it returns; there is nothing left to commit.
template <auto Operation>
consteval zu_owal_ipc_entry ipc_entry(const char* name) {
    static_assert(base::has_global_name<Operation>());
    using Record = detail::RecordOf<Operation>;
    return {name, [](void* record, uint32_t size) -> int32_t {
                if (!record || size != sizeof(Record)) return kWrongRecord;
                return Operation(static_cast<Record*>(record), sizeof(Record));
            }};
}

/// The same for a row of `Rows` with texts, which are ended within their members first.
template <auto Operation, const auto& Rows>
consteval zu_owal_ipc_entry ipc_text_entry(const char* name) {
    static_assert(base::has_global_name<Operation>());
    using Record = detail::RecordOf<Operation>;
    return {name, [](void* record, uint32_t size) -> int32_t {
                if (!record || size != sizeof(Record)) return kWrongRecord;
                end_texts(Rows, record);
                return Operation(static_cast<Record*>(record), sizeof(Record));
            }};
}

/// An entry that takes no record and answers rows, which `List` hands over with
/// `zu_owal_ipc_append`.
template <int32_t (*List)()>
consteval zu_owal_ipc_entry ipc_listing(const char* name) {
    static_assert(base::has_global_name<List>());
    return {name, [](void* record, uint32_t size) -> int32_t {
                return record || size != 0 ? kWrongRecord : List();
            }};
}

/// Offers entries, in their order; to be a static object, for callers must find them as soon as the
/// daemon serves anything at all.
class OfferedEntries {
  public:
    explicit OfferedEntries(std::span<const zu_owal_ipc_entry> entries) {
        for (const zu_owal_ipc_entry& entry : entries)
            zu_owal_ipc_register(&entry);
    }
};

}  // namespace appcfg
