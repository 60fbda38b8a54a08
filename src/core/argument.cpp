#include "core/argument.h"

#include <cstring>

#include "core/bounded.h"
#include "core/field.h"

namespace appcfg {
namespace {

bool take_number(const Argument& argument, blob_attr* value, void* record) {
    field::store(record, argument.offset, argument.size, blobmsg_get_u32(value));
    return field::load(record, argument.offset, argument.size) <= argument.largest;
}

bool take_text(const Argument& argument, const char* given, char* text) {
    switch (argument.too_long) {
        case TooLong::Cut:
            return strncpy_s(text, argument.size, given, argument.size - 1u) == 0;
        case TooLong::LeftEmpty:
            report_bounded("strcpy_s", strcpy_s(text, argument.size, given), CallSite::here());
            return true;
        default:
            return strcpy_s(text, argument.size, given) == 0;
    }
}

bool take_coded(const Argument& argument, const char* given, void* member) {
    if (std::strlen(given) >= argument.codec->width) return false;
    argument.codec->parse(given, member);
    return true;
}

void take_list(blob_attr* array, TextList& list) {
    blob_attr* element;
    size_t rest;
    blobmsg_for_each_attr(element, array, rest) {
        if (blobmsg_type(element) != BLOBMSG_TYPE_STRING || !blobmsg_check_attr(element, false))
            continue;
        list.texts[list.count] = blobmsg_get_string(element);
        if (++list.count == TextList::kMost) return;
    }
}

}  // namespace

bool take_argument(const Argument& argument, blob_attr* value, void* record) {
    void* member = static_cast<uint8_t*>(record) + argument.offset;
    switch (argument.kind) {
        case ArgumentKind::Number:
            return take_number(argument, value, record);
        case ArgumentKind::Text:
            return take_text(argument, blobmsg_get_string(value), static_cast<char*>(member));
        case ArgumentKind::Coded:
            return take_coded(argument, blobmsg_get_string(value), member);
        case ArgumentKind::Lent:
            *static_cast<const char**>(member) = blobmsg_get_string(value);
            return true;
        case ArgumentKind::List:
            take_list(value, *static_cast<TextList*>(member));
            return true;
    }
    return false;
}

}  // namespace appcfg
