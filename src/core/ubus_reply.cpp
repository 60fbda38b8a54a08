#include "core/ubus_reply.h"

#include <cstdio>

#include "core/reply_buffer.h"
#include "core/result.h"

using namespace appcfg;

void ubus_reply_result(ubus_context* context, ubus_request_data* request, const char* reason,
                       int32_t code) {
    ReplyBuffer reply;
    reply.add("result", code);
    reply.add("fail_reason", reason);
    reply.send(context, request);
}

void ubus_reply_ok(ubus_context* context, ubus_request_data* request) {
    ReplyBuffer reply;
    reply.add("result", 0);
    reply.send(context, request);
}

int32_t ubus_check_params(ubus_context* context, ubus_request_data* request,
                          blob_attr* const* arguments, int32_t count,
                          const blobmsg_policy* policy) {
    for (int32_t i = 0; i < count; ++i) {
        if (arguments[i]) continue;
        char reason[128];
        if (std::snprintf(reason, sizeof(reason), "Parameter %s is NULL. Please try again.",
                          policy[i].name) >= 0)
            ubus_reply_result(context, request, reason, kMissingArgument);
        return kMissingArgument;
    }
    return 0;
}
