#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "core/declaration.h"
#include "core/text_codec.h"
#include "core/ubus_reply.h"

// Bus methods declared once. A method is its name, its arguments in policy order with the member of
// the record that each fills, the record's bitmap, the operation it runs and the text that names
// the operation when it fails. From that follow the policy, the missing-argument check, the
// narrowing of numbers, the bounded copies and the replies.
//
// What a caller gets back:
//   reply {"result": 0}                            the operation succeeded
//   reply {"result": code, "fail_reason": text}    it failed; bus status 0
//   the same with -3, bus status 9                 an argument is missing or of the wrong type
//   bus status 2, no reply                         a text does not fit, or an index is too large
//
// A method whose arguments or replies follow rules of its own is declared as a `raw_method`: it is
// handed its arguments as they came, and may word its reply itself.

class ReplyBuffer;

struct Argument {
    const char* name;
    enum blobmsg_type type;
    uint16_t offset;
    uint16_t size;
    const TextCodec* codec = nullptr;
    uint32_t largest = UINT32_MAX;
    bool cut = false;

    /// Name on the bus where it is not the member's own.
    consteval Argument named(const char* text) const {
        Argument a = *this;
        a.name = text;
        return a;
    }
    /// Refuses a number above `value` (after narrowing) with bus status 2.
    consteval Argument at_most(uint32_t value) const {
        Argument a = *this;
        a.largest = value;
        return a;
    }
    /// A text that does not fit is cut instead of refused.
    consteval Argument or_cut() const {
        Argument a = *this;
        a.cut = true;
        return a;
    }
};

template <class Member>
consteval Argument make_argument(const char* name, size_t offset) {
    constexpr bool text = std::is_same_v<std::remove_extent_t<Member>, char>;
    static_assert(text || std::is_integral_v<Member>);
    return {.name = name,
            .type = text ? BLOBMSG_TYPE_STRING : BLOBMSG_TYPE_INT32,
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(sizeof(Member))};
}

consteval Argument make_coded_argument(const char* name, size_t offset, size_t size,
                                       const TextCodec& codec) {
    return {.name = name,
            .type = BLOBMSG_TYPE_STRING,
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(size),
            .codec = &codec};
}

/// An argument of a raw method.
consteval Argument raw_argument(const char* name, enum blobmsg_type type) {
    return {.name = name, .type = type, .offset = 0, .size = 0};
}

#define ARGUMENT(Record, member) \
    make_argument<decltype(Record::member)>(#member, offsetof(Record, member))

#define CODED_ARGUMENT(Record, member, codec) \
    make_coded_argument(#member, offsetof(Record, member), sizeof(Record::member), codec)

/// How an operation ended: no reason means success; the code is the front end's to interpret.
struct Outcome {
    int32_t code = 0;
    const char* reason = nullptr;
};

/// The arguments of one call in policy order; null where there is none of the name and type.
using GivenArguments = std::span<blob_attr* const>;

/// Serves a raw method. What it puts into `reply` is sent when it succeeds, {"result": 0} when it
/// puts nothing there.
using RawOperation = Outcome (*)(GivenArguments given, ReplyBuffer& reply);

struct Method {
    const char* name;
    std::span<const Argument> arguments = {};
    uint16_t bitmap_offset = 0;
    uint16_t bitmap_size = 0;  ///< 0: the record has none
    uint32_t bitmap = 0;
    /// Fills what the arguments only imply; may be null.
    void (*complete)(void* record) = nullptr;
    Outcome (*run)(const Method& method, void* record);
    const char* failure = nullptr;
    /// Members of the record that a successful reply carries instead of "result".
    std::span<const Argument> reported = {};
    /// Serves the call instead of `run`; null for methods that fill a record.
    RawOperation answer = nullptr;
    /// How many arguments, counted from the last, a caller may leave out.
    uint16_t optional = 0;

    template <auto Complete>
    consteval Method completed_by() const;

    consteval Method reporting(std::span<const Argument> members) const {
        Method m = *this;
        m.reported = members;
        return m;
    }
};

/// Records are kept on the stack while a method runs.
inline constexpr size_t kLargestRecord = 1024;
inline constexpr size_t kMostArguments = 16;

namespace detail {

template <class Record>
Record record_of(int32_t (*)(Record*, uint32_t));
template <class Record>
Record record_of(Outcome (*)(Record&));
template <class Record>
Record record_of(void (*)(Record&));

template <auto Operation>
Outcome run(const Method& method, void* memory) {
    using Record = decltype(record_of(Operation));
    auto* record = static_cast<Record*>(memory);
    if constexpr (std::is_invocable_r_v<Outcome, decltype(Operation), Record&>) {
        return Operation(*record);
    } else {
        const int32_t code = Operation(record, sizeof(Record));
        return {code, code == 0 ? nullptr : method.failure};
    }
}

}  // namespace detail

template <auto Complete>
consteval Method Method::completed_by() const {
    Method m = *this;
    m.complete = [](void* record) {
        Complete(*static_cast<decltype(detail::record_of(Complete))*>(record));
    };
    return m;
}

/// A method that fills a record from its arguments, sets the record's bitmap and runs `Operation`,
/// which is either an operation with one failure text or one that words its own outcome.
template <auto Operation>
consteval Method method(const char* name, std::span<const Argument> arguments, uint32_t bitmap,
                        const char* failure = nullptr) {
    using Record = decltype(detail::record_of(Operation));
    static_assert(sizeof(Record) <= kLargestRecord);
    if (arguments.size() > kMostArguments) bad_declaration("too many arguments");
    constexpr bool words_outcome = std::is_invocable_r_v<Outcome, decltype(Operation), Record&>;
    if (!words_outcome && !failure) bad_declaration("an operation without a failure text");
    Method m{
        .name = name, .arguments = arguments, .run = detail::run<Operation>, .failure = failure};
    if constexpr (requires { &Record::ulBitmap; }) {
        m.bitmap_offset = offsetof(Record, ulBitmap);
        m.bitmap_size = sizeof(Record::ulBitmap);
        m.bitmap = bitmap;
    }
    return m;
}

/// A method that reads its arguments itself; a caller may leave out the last `optional` of them.
consteval Method raw_method(const char* name, RawOperation answer,
                            std::span<const Argument> arguments = {}, uint16_t optional = 0) {
    if (arguments.size() > kMostArguments) bad_declaration("too many arguments");
    if (optional > arguments.size()) bad_declaration("more optional arguments than arguments");
    return {.name = name,
            .arguments = arguments,
            .run = nullptr,
            .answer = answer,
            .optional = optional};
}

/// A method without arguments that runs `Operation` and replies success whatever came of it.
template <auto Operation>
consteval Method always_ok(const char* name) {
    return {.name = name, .run = [](const Method&, void*) {
                Operation();
                return Outcome{};
            }};
}

/// Serves one call: the flow that all methods share. Returns the bus status.
int serve_method(const Method& method, const blobmsg_policy* policy, ubus_context* context,
                 ubus_request_data* request, blob_attr* message);

/// The bus object that offers `Methods`; all it needs is laid out at compile time.
template <const auto& Methods>
class BusObject {
    static constexpr size_t kCount = std::size(Methods);

    template <size_t Index>
    static constexpr auto kPolicy = [] {
        std::array<blobmsg_policy, Methods[Index].arguments.size()> policy{};
        for (size_t i = 0; i < policy.size(); ++i)
            policy[i] = {.name = Methods[Index].arguments[i].name,
                         .type = Methods[Index].arguments[i].type};
        return policy;
    }();

    template <size_t Index>
    static int handle(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
                      blob_attr* message) {
        return serve_method(Methods[Index], kPolicy<Index>.data(), context, request, message);
    }

    template <size_t... Index>
    static constexpr std::array<ubus_method, kCount> bus_methods(std::index_sequence<Index...>) {
        return {ubus_method{.name = Methods[Index].name,
                            .handler = handle<Index>,
                            .mask = 0,
                            .tags = 0,
                            .policy = kPolicy<Index>.data(),
                            .n_policy = kPolicy<Index>.size()}...};
    }

    static constexpr auto kMethods = bus_methods(std::make_index_sequence<kCount>());

  public:
    static ubus_object* named(const char* name) {
        static ubus_object_type type{
            .name = name, .id = 0, .methods = kMethods.data(), .n_methods = kCount};
        static ubus_object object = [&] {
            ubus_object o{};
            o.name = name;
            o.type = &type;
            o.methods = kMethods.data();
            o.n_methods = kCount;
            return o;
        }();
        return &object;
    }
};
