#pragma once

#include <cstdint>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubus.h>
}

// The replies that every method gives. They are sent from inside the handler; whether the front end
// still listens is not our concern, so sending reports nothing.

/// Sends {"result": code, "fail_reason": reason}.
void ubus_reply_result(ubus_context* context, ubus_request_data* request, const char* reason,
                       int32_t code);

/// Sends {"result": 0}.
void ubus_reply_ok(ubus_context* context, ubus_request_data* request);

/// Looks for the first of `count` arguments that is missing and, if there is one, sends
/// {"result": -3, "fail_reason": "Parameter NAME is NULL. Please try again."} and returns -3;
/// returns 0 when all are there.
[[nodiscard]] int32_t ubus_check_params(ubus_context* context, ubus_request_data* request,
                                        blob_attr* const* arguments, int32_t count,
                                        const blobmsg_policy* policy);
