#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "base/linkage.h"
#include "core/argument.h"
#include "core/declaration.h"
#include "core/outcome.h"
#include "core/reply_buffer.h"

// Bus methods declared once. A method is its name, its arguments in policy order with the member of
// the record that each fills, the record's bitmap, the operation it runs and the text that names
// the operation when it fails. From that follow the policy, the missing-argument check, the
// narrowing of numbers, the bounded copies and the replies (core/bus_object.h).
//
// What a caller gets back:
//   reply {"result": 0}                            the operation succeeded
//   reply {"result": code, "fail_reason": text}    it failed; bus status 0
//   the same with -3, bus status 9                 an argument is missing or of the wrong type
//   bus status 2, no reply                         a text does not fit, or an index is too large

namespace appcfg {

struct Method {
    const char* name;
    std::span<const Argument> arguments = {};
    uint16_t bitmap_offset = 0;
    uint16_t bitmap_size = 0;  ///< 0: the record has none
    uint32_t bitmap = 0;
    /// Fills what the arguments only imply; may be null.
    void (*complete)(void* record) = nullptr;
    Outcome (*run)(const Method& method, void* record, ReplyBuffer& reply);
    const char* failure = nullptr;
    /// Members of the record that a successful reply carries instead of "result".
    std::span<const Argument> reported = {};
    /// By whose names missing arguments are told, position by position, where not by their own.
    std::span<const Argument> missing_names = {};
    /// How many arguments, counted from the last, a caller may leave out; their members are 0.
    uint16_t optional = 0;
    /// Success is not answered, only failure.
    bool silent = false;

    /// Runs `Complete(record)` between the arguments and the operation.
    template <auto Complete>
    consteval Method completed_by() const;

    consteval Method reporting(std::span<const Argument> members) const {
        Method m = *this;
        m.reported = members;
        return m;
    }
    consteval Method with_optional(size_t count) const {
        if (count > arguments.size()) bad_declaration("more optional arguments than arguments");
        Method m = *this;
        m.optional = static_cast<uint16_t>(count);
        return m;
    }
    consteval Method naming_missing_as(std::span<const Argument> other) const {
        if (other.size() + optional < arguments.size())
            bad_declaration("an argument that may be missing has no name");
        Method m = *this;
        m.missing_names = other;
        return m;
    }
    consteval Method silent_on_success() const {
        Method m = *this;
        m.silent = true;
        return m;
    }
};

/// Records are kept on the stack while a method runs.
inline constexpr size_t kLargestRecord = 1024;
inline constexpr size_t kMostArguments = 16;

namespace detail {

struct NoRecord {};

template <class Result>
NoRecord record_of(Result (*)());
template <class Result>
NoRecord record_of(Result (*)(ReplyBuffer&));
template <class Record>
Record record_of(int32_t (*)(Record*, uint32_t));
template <class Result, class Record>
Record record_of(Result (*)(Record&));

template <auto Operation>
using RecordOf = decltype(record_of(Operation));

/// Calls an operation of any of the forms that `method` takes.
template <auto Operation>
auto call(void* memory, ReplyBuffer& reply) {
    using Record = RecordOf<Operation>;
    if constexpr (std::is_invocable_v<decltype(Operation), Record*, uint32_t>)
        return Operation(static_cast<Record*>(memory), sizeof(Record));
    else if constexpr (std::is_invocable_v<decltype(Operation), Record&>)
        return Operation(*static_cast<Record*>(memory));
    else if constexpr (std::is_invocable_v<decltype(Operation), ReplyBuffer&>)
        return Operation(reply);
    else
        return Operation();
}

template <auto Operation>
using ResultOf = decltype(call<Operation>(nullptr, std::declval<ReplyBuffer&>()));

template <auto Operation>
Outcome run(const Method& method, void* memory, ReplyBuffer& reply) {
    if constexpr (std::is_same_v<ResultOf<Operation>, int32_t>) {
        return Outcome::of(call<Operation>(memory, reply), method.failure);
    } else if constexpr (std::is_void_v<ResultOf<Operation>>) {
        call<Operation>(memory, reply);
        return {};
    } else {
        return call<Operation>(memory, reply);
    }
}

}  // namespace detail

template <auto Complete>
consteval Method Method::completed_by() const {
    static_assert(base::has_global_name<Complete>());
    Method m = *this;
    m.complete = [](void* record) { Complete(*static_cast<detail::RecordOf<Complete>*>(record)); };
    return m;
}

/// A method that fills a record from its arguments, sets the record's bitmap and runs `Operation`:
///   int32_t (Record*, uint32_t)   an operation with one text of failure
///   Outcome (Record&)             one that words its own outcome
///   void (Record&)                one whose outcome the caller does not learn: always success
/// or, without arguments, the latter two without the record, or with the ReplyBuffer that they word
/// their reply in: what they put there is sent on success instead of {"result": 0}.
template <auto Operation>
consteval Method method(const char* name, std::span<const Argument> arguments = {},
                        uint32_t bitmap = 0, const char* failure = nullptr) {
    static_assert(base::has_global_name<Operation>(),
                  "an operation of an unnamed namespace: compilers may take one file's for all");
    using Record = detail::RecordOf<Operation>;
    static_assert(sizeof(Record) <= kLargestRecord);
    if (arguments.size() > kMostArguments) bad_declaration("too many arguments");
    constexpr bool has_code = std::is_same_v<detail::ResultOf<Operation>, int32_t>;
    if (has_code != (failure != nullptr)) bad_declaration("a result code goes with a text");
    Method m{
        .name = name, .arguments = arguments, .run = detail::run<Operation>, .failure = failure};
    if constexpr (requires { &Record::ulBitmap; }) {
        m.bitmap_offset = offsetof(Record, ulBitmap);
        m.bitmap_size = sizeof(Record::ulBitmap);
        m.bitmap = bitmap;
    }
    return m;
}

}  // namespace appcfg
