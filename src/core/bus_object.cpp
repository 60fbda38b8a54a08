#include "core/bus_object.h"

#include <cstring>

#include "base/patience.h"
#include "core/bounded.h"
#include "core/field.h"

namespace appcfg {
namespace {

/// Those that were left out leave their members 0.
bool take_arguments(const Method& method, blob_attr* const* values, void* record) {
    for (size_t i = 0; i < method.arguments.size(); ++i)
        if (values[i] && !take_argument(method.arguments[i], values[i], record)) return false;
    return true;
}

/// False if an argument that must be there is missing; the caller has then been told.
bool check_arguments(const Method& method, const blobmsg_policy* policy, ubus_context* context,
                     ubus_request_data* request, blob_attr* const* values) {
    blobmsg_policy names[kMostArguments];
    const auto required = static_cast<int32_t>(method.arguments.size() - method.optional);
    if (!method.missing_names.empty()) {
        for (int32_t i = 0; i < required; ++i)
            names[i] = {.name = method.missing_names[static_cast<size_t>(i)].name,
                        .type = policy[i].type};
        policy = names;
    }
    return ubus_check_params(context, request, values, required, policy) == 0;
}

void report_members(std::span<const Argument> members, const void* record, ReplyBuffer& reply) {
    for (const Argument& member : members)
        reply.add(member.name,
                  static_cast<int32_t>(field::load(record, member.offset, member.size)));
}

int send_outcome(const Method& method, const Outcome& outcome, ReplyBuffer& reply,
                 ubus_context* context, ubus_request_data* request) {
    if (!outcome.ok())
        ubus_reply_result(context, request, outcome.reason, outcome.code);
    else if (!reply.empty())
        return reply.send(context, request);
    else if (!method.silent)
        ubus_reply_ok(context, request);
    return UBUS_STATUS_OK;
}

int run_method(const Method& method, blob_attr* const* values, ubus_context* context,
               ubus_request_data* request) {
    alignas(uint64_t) uint8_t record[kLargestRecord];
    zero(record);
    if (!take_arguments(method, values, record)) return UBUS_STATUS_INVALID_ARGUMENT;
    if (method.complete) method.complete(record);
    if (method.bitmap_size)
        field::store(record, method.bitmap_offset, method.bitmap_size, method.bitmap);
    ReplyBuffer reply;
    const Outcome outcome = method.run(method, record, reply);
    if (outcome.ok()) report_members(method.reported, record, reply);
    return send_outcome(method, outcome, reply, context, request);
}

/// The bus library has checked that the object has such a method.
size_t find_method(std::span<const Method> declarations, const char* name) {
    size_t index = 0;
    while (index + 1 < declarations.size() && std::strcmp(declarations[index].name, name) != 0)
        ++index;
    return index;
}

}  // namespace

int serve_request(ubus_context* context, ubus_object* object, ubus_request_data* request,
                  const char* name, blob_attr* message) {
    const base::RequestPatience patience;
    const auto declarations = static_cast<OfferedObject*>(object)->declarations;
    const size_t index = find_method(declarations, name);
    const Method& method = declarations[index];
    blob_attr* values[kMostArguments] = {};
    if (!method.arguments.empty()) {
        const blobmsg_policy* policy = object->methods[index].policy;
        blobmsg_parse(policy, static_cast<int>(method.arguments.size()), values, blob_data(message),
                      blob_len(message));
        if (!check_arguments(method, policy, context, request, values))
            return UBUS_STATUS_UNKNOWN_ERROR;
    }
    return run_method(method, values, context, request);
}

}  // namespace appcfg
