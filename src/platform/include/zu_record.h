#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

// How a platform record is told to people and to the compiler: each record that crosses the
// platform interface is described once, beside its struct, by the list of its fields. The list
// states the offset the platform expects of every member, so a member that moved, a forgotten one
// and a hole that the compiler would fill are all build errors; the platform's tools print calls
// with the very same list.

namespace platform {

enum class FieldKind : uint8_t {
    Unsigned,  ///< one or more unsigned integers of `size` bytes, in host byte order
    Signed,    ///< the same, signed
    Real,      ///< one or more 64-bit floating-point numbers
    Text,      ///< one or more texts, each NUL-terminated within `size` bytes
    Bytes,     ///< printed in hexadecimal
    Group,     ///< one or more records of their own, laid out as `element` says
    Padding,   ///< always zero; printed only if it is not
};

struct RecordLayout;

struct RecordField {
    const char* name;
    FieldKind kind;
    uint16_t offset;
    uint16_t size;                ///< of one element
    uint16_t count;               ///< elements; 1 unless the member is an array
    const RecordLayout* element;  ///< of a Group; null for all others
};

/// A platform record's name, size and fields in order of their offsets.
struct RecordLayout {
    const char* name;
    uint32_t size;
    std::span<const RecordField> fields;
};

/// The layout of one record: `Record`.
template <class Record>
struct LayoutOf : RecordLayout {};

/// The kind of a member follows from its type: char arrays are texts, arrays of other bytes are
/// bytes, everything else is numbers.
template <class Member>
consteval FieldKind field_kind() {
    using Element = std::remove_all_extents_t<Member>;
    static_assert(std::is_arithmetic_v<Element>, "a struct is a RECORD_GROUP");
    if (std::is_same_v<Element, char>) return FieldKind::Text;
    if (std::is_array_v<Member> && sizeof(Element) == 1) return FieldKind::Bytes;
    if (std::is_floating_point_v<Element>) return FieldKind::Real;
    return std::is_signed_v<Element> ? FieldKind::Signed : FieldKind::Unsigned;
}

template <class Member>
consteval size_t element_size(FieldKind kind) {
    constexpr auto dimensions = std::rank_v<Member>;
    if (kind == FieldKind::Bytes || kind == FieldKind::Padding) return sizeof(Member);
    if (kind == FieldKind::Text) return std::extent_v < Member, dimensions ? dimensions - 1 : 0 > ;
    return sizeof(std::remove_all_extents_t<Member>);
}

template <class Member, size_t Offset, size_t Agreed>
consteval RecordField record_field(const char* name, FieldKind kind,
                                   const RecordLayout* element = nullptr) {
    static_assert(Offset == Agreed, "the member is not where the platform expects it");
    const auto size = element_size<Member>(kind);
    return {name,
            kind,
            static_cast<uint16_t>(Offset),
            static_cast<uint16_t>(size),
            static_cast<uint16_t>(sizeof(Member) / size),
            element};
}

/// True when the fields follow one another without a hole and fill the record.
consteval bool fills_record(std::span<const RecordField> fields, size_t record_size) {
    size_t next = 0;
    for (const auto& field : fields) {
        if (field.offset != next) return false;
        if (field.kind == FieldKind::Group && field.element->size != field.size) return false;
        next += size_t{field.size} * field.count;
    }
    return next == record_size;
}

consteval bool holds_reals(std::span<const RecordField> fields) {
    for (const auto& field : fields) {
        if (field.kind == FieldKind::Real) return true;
        if (field.kind == FieldKind::Group && holds_reals(field.element->fields)) return true;
    }
    return false;
}

/// Floating-point members have no unique representation by their nature; for records that hold
/// some, `fills_record` alone rules out holes.
template <class Record, size_t Size, const auto& Fields>
consteval LayoutOf<Record> record_layout(const char* name) {
    static_assert(sizeof(Record) == Size, "the record is not as long as the platform expects it");
    static_assert(Size <= UINT16_MAX);
    static_assert(std::is_standard_layout_v<Record> && std::is_trivially_copyable_v<Record>);
    static_assert(fills_record(Fields, Size), "a member is missing, or a hole has no padding");
    static_assert(holds_reals(Fields) || std::has_unique_object_representations_v<Record>);
    return {{name, Size, Fields}};
}

}  // namespace platform

// One line per member: the record, the member, and the offset at which the platform expects it.
#define RECORD_FIELD(Record, member, at)                                            \
    platform::record_field<decltype(Record::member), offsetof(Record, member), at>( \
        #member, platform::field_kind<decltype(Record::member)>())
#define RECORD_PADDING(Record, member, at)                                          \
    platform::record_field<decltype(Record::member), offsetof(Record, member), at>( \
        #member, platform::FieldKind::Padding)
/// A member that is a record, or an array of records, described by `layout`.
#define RECORD_GROUP(Record, member, at, layout)                                    \
    platform::record_field<decltype(Record::member), offsetof(Record, member), at>( \
        #member, platform::FieldKind::Group, &layout)
/// The layout of `Record`, which is `size` bytes long.
#define RECORD_LAYOUT(Record, size, fields) platform::record_layout<Record, size, fields>(#Record)
