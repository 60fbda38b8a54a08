#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

extern "C" {
#include <libubox/blobmsg.h>
}

#include "core/declaration.h"
#include "core/text_codec.h"

// The arguments of a bus method, each declared once by the member of the method's record that it
// fills: name and type on the bus, and how it gets into the member, follow from the member.

namespace appcfg {

/// The texts of an array argument. They live as long as the request; what is no text does not
/// count, nor does what comes after the last that fits.
struct TextList {
    static constexpr uint32_t kMost = 8;
    const char* texts[kMost];
    uint32_t count;
};

enum class ArgumentKind : uint8_t {
    Number,  ///< narrowed to the member, never refused for its size
    Text,    ///< copied into a character array
    Coded,   ///< text on the bus, binary in the record
    Lent,    ///< the member points at the text, null if it was left out; good during the request
    List,    ///< a TextList
};

/// What becomes of a text that is longer than its member.
enum class TooLong : uint8_t {
    Refused,    ///< bus status 2, no reply
    Cut,        ///< what fits is taken
    LeftEmpty,  ///< the member stays empty
};

struct Argument {
    const char* name;
    ArgumentKind kind;
    TooLong too_long = TooLong::Refused;
    uint16_t offset;
    uint16_t size;
    const TextCodec* codec = nullptr;
    uint32_t largest = UINT32_MAX;

    constexpr enum blobmsg_type bus_type() const {
        switch (kind) {
            case ArgumentKind::Number:
                return BLOBMSG_TYPE_INT32;
            case ArgumentKind::List:
                return BLOBMSG_TYPE_ARRAY;
            default:
                return BLOBMSG_TYPE_STRING;
        }
    }

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
    consteval Argument or_cut() const {
        Argument a = *this;
        a.too_long = TooLong::Cut;
        return a;
    }
    consteval Argument or_empty() const {
        Argument a = *this;
        a.too_long = TooLong::LeftEmpty;
        return a;
    }
};

template <class Member>
consteval ArgumentKind argument_kind() {
    if (std::is_same_v<Member, const char*>) return ArgumentKind::Lent;
    if (std::is_same_v<Member, TextList>) return ArgumentKind::List;
    if (std::is_same_v<std::remove_extent_t<Member>, char>) return ArgumentKind::Text;
    if (!std::is_integral_v<Member>) bad_declaration("no member for an argument");
    return ArgumentKind::Number;
}

template <class Member>
consteval Argument make_argument(const char* name, size_t offset) {
    return {.name = name,
            .kind = argument_kind<Member>(),
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(sizeof(Member))};
}

consteval Argument make_coded_argument(const char* name, size_t offset, size_t size,
                                       const TextCodec& codec) {
    return {.name = name,
            .kind = ArgumentKind::Coded,
            .offset = static_cast<uint16_t>(offset),
            .size = static_cast<uint16_t>(size),
            .codec = &codec};
}

#define ARGUMENT(Record, member) \
    make_argument<decltype(Record::member)>(#member, offsetof(Record, member))

#define CODED_ARGUMENT(Record, member, codec) \
    make_coded_argument(#member, offsetof(Record, member), sizeof(Record::member), codec)

/// Puts one argument, of the type that it is declared with, into the record; false if it does not
/// fit or is out of range.
[[nodiscard]] bool take_argument(const Argument& argument, blob_attr* value, void* record);

}  // namespace appcfg
