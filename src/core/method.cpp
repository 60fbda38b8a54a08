#include "core/method.h"

#include <cstring>

#include "core/bounded.h"
#include "core/field.h"
#include "core/reply_buffer.h"

namespace {

/// Copies one argument into the record; false if it does not fit or is out of range.
bool take_argument(const Argument& argument, blob_attr* value, void* record) {
    if (argument.type == BLOBMSG_TYPE_INT32) {
        field::store(record, argument.offset, argument.size, blobmsg_get_u32(value));
        return field::load(record, argument.offset, argument.size) <= argument.largest;
    }
    auto* member = static_cast<uint8_t*>(record) + argument.offset;
    const char* given = blobmsg_get_string(value);
    if (argument.codec) {
        if (std::strlen(given) >= argument.codec->width) return false;
        argument.codec->parse(given, member);
        return true;
    }
    auto* text = reinterpret_cast<char*>(member);
    if (argument.cut) return strncpy_s(text, argument.size, given, argument.size - 1u) == 0;
    return strcpy_s(text, argument.size, given) == 0;
}

bool take_arguments(const Method& method, blob_attr* const* values, void* record) {
    for (size_t i = 0; i < method.arguments.size(); ++i)
        if (!take_argument(method.arguments[i], values[i], record)) return false;
    return true;
}

/// False if one that must be there is missing; the caller has then been told.
bool parse_arguments(const Method& method, const blobmsg_policy* policy, ubus_context* context,
                     ubus_request_data* request, blob_attr* message, blob_attr** values) {
    const auto count = static_cast<int>(method.arguments.size());
    if (count == 0) return true;
    blobmsg_parse(policy, count, values, blob_data(message), blob_len(message));
    return ubus_check_params(context, request, values, count - method.optional, policy) == 0;
}

void report_members(std::span<const Argument> members, const void* record, ReplyBuffer& reply) {
    for (const Argument& member : members)
        reply.add(member.name,
                  static_cast<int32_t>(field::load(record, member.offset, member.size)));
}

/// Runs a method's operation on the record that its arguments make.
int run_on_record(const Method& method, blob_attr* const* values, ReplyBuffer& reply,
                  Outcome& outcome) {
    alignas(uint64_t) uint8_t record[kLargestRecord];
    zero(record);
    if (!take_arguments(method, values, record)) return UBUS_STATUS_INVALID_ARGUMENT;
    if (method.complete) method.complete(record);
    if (method.bitmap_size)
        field::store(record, method.bitmap_offset, method.bitmap_size, method.bitmap);
    outcome = method.run(method, record);
    report_members(method.reported, record, reply);
    return UBUS_STATUS_OK;
}

}  // namespace

int serve_method(const Method& method, const blobmsg_policy* policy, ubus_context* context,
                 ubus_request_data* request, blob_attr* message) {
    blob_attr* values[kMostArguments] = {};
    if (!parse_arguments(method, policy, context, request, message, values))
        return UBUS_STATUS_UNKNOWN_ERROR;

    ReplyBuffer reply;
    Outcome outcome;
    if (method.answer)
        outcome = method.answer({values, method.arguments.size()}, reply);
    else if (const int status = run_on_record(method, values, reply, outcome))
        return status;

    if (outcome.reason)
        ubus_reply_result(context, request, outcome.reason, outcome.code);
    else if (reply.empty())
        ubus_reply_ok(context, request);
    else
        return reply.send(context, request);
    return UBUS_STATUS_OK;
}
