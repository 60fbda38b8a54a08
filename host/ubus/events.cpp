#include <cstddef>

#include "libubus.h"

// Events and monitoring: calls of objects that the broker itself offers.

static int pass_on(ubus_context* ctx, ubus_object* obj, ubus_request_data*, const char* type,
                   blob_attr* msg) {
    static_assert(offsetof(ubus_event_handler, obj) == 0);
    auto* handler = reinterpret_cast<ubus_event_handler*>(obj);
    handler->cb(ctx, handler, type, msg);
    return UBUS_STATUS_OK;
}

int ubus_register_event_handler(ubus_context* ctx, ubus_event_handler* ev, const char* pattern) {
    static const ubus_method method = UBUS_METHOD_NOARG(nullptr, pass_on);
    if (ev->obj.id == 0) {
        ev->obj.methods = &method;
        ev->obj.n_methods = 1;
        if (int status = ubus_add_object(ctx, &ev->obj)) return status;
    }
    blob_buf arguments{};
    blob_buf_init(&arguments, 0);
    blobmsg_add_u32(&arguments, "object", ev->obj.id);
    if (pattern) blobmsg_add_string(&arguments, "pattern", pattern);
    int status =
        ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_EVENT, "register", arguments.head, nullptr, nullptr, 0);
    blob_buf_free(&arguments);
    return status;
}

int ubus_send_event(ubus_context* ctx, const char* id, blob_attr* data) {
    blob_buf arguments{};
    blob_buf_init(&arguments, 0);
    blobmsg_add_string(&arguments, "id", id);
    blobmsg_add_field(&arguments, BLOBMSG_TYPE_TABLE, "data", blob_data(data),
                      static_cast<unsigned int>(blob_len(data)));
    int status =
        ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_EVENT, "send", arguments.head, nullptr, nullptr, 0);
    blob_buf_free(&arguments);
    return status;
}

static int monitor(ubus_context* ctx, const char* what) {
    return ubus_invoke(ctx, UBUS_SYSTEM_OBJECT_MONITOR, what, nullptr, nullptr, nullptr, 1000);
}

int ubus_monitor_start(ubus_context* ctx) {
    return monitor(ctx, "add");
}

int ubus_monitor_stop(ubus_context* ctx) {
    return monitor(ctx, "remove");
}
