#include "bus_client.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "stopwatch.h"

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

namespace {

constexpr int kTimeoutMs = 30000;

[[noreturn]] void give_up(const char* what, const char* why) {
    std::fprintf(stderr, "bench: %s: %s\n", what, why);
    std::exit(1);
}

uint32_t id_of(ubus_context* context, const char* object) {
    uint32_t id = 0;
    return ubus_lookup_id(context, object, &id) == 0 ? id : 0;
}

void take_result(ubus_request* request, int, blob_attr* message) {
    blobmsg_policy policy{.name = "result", .type = BLOBMSG_TYPE_INT32};
    blob_attr* result = nullptr;
    blobmsg_parse(&policy, 1, &result, blob_data(message), blob_len(message));
    if (result && blobmsg_get_u32(result) != 0) *static_cast<bool*>(request->priv) = false;
}

int reply_empty(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
                blob_attr*) {
    blob_buf reply{};
    blob_buf_init(&reply, 0);
    blobmsg_add_u32(&reply, "result", 0);
    ubus_send_reply(context, request, reply.head);
    blob_buf_free(&reply);
    return 0;
}

}  // namespace

BusClient::BusClient() : context_(ubus_connect(nullptr)) {
    if (!context_) give_up("bus", "not reachable");
}

BusClient::~BusClient() {
    ubus_free(context_);
}

void BusClient::call(const BusCall& call) {
    static_cast<void>(time(call));
}

double BusClient::time(const BusCall& call) {
    blob_buf message{};
    blob_buf_init(&message, 0);
    if (!blobmsg_add_json_from_string(&message, call.arguments.c_str()))
        give_up(call.method, "arguments are no JSON");
    const uint32_t id = id_of(context_, call.object);
    if (!id) give_up(call.object, "not on the bus");
    bool good = true;
    const Stopwatch watch;
    const int status =
        ubus_invoke(context_, id, call.method, message.head, take_result, &good, kTimeoutMs);
    const double spent = watch.microseconds();
    blob_buf_free(&message);
    if (status != 0) give_up(call.method, ubus_strerror(status));
    if (!good) give_up(call.method, "did not succeed");
    return spent;
}

void BusClient::wait_for(const char* object, bool present) {
    const Stopwatch watch;
    while ((id_of(context_, object) != 0) != present) {
        if (watch.microseconds() > kTimeoutMs * 1000.0) give_up(object, "never came or went");
        usleep(100);
    }
}

void serve_empty_method(const char* name) {
    static const ubus_method methods[] = {UBUS_METHOD_NOARG("empty", reply_empty)};
    static ubus_object_type type = UBUS_OBJECT_TYPE("bench", methods);
    static ubus_object object{};
    object.name = name;
    object.type = &type;
    object.methods = methods;
    object.n_methods = 1;
    uloop_init();
    ubus_context* context = ubus_connect(nullptr);
    if (!context) give_up("bus", "not reachable");
    ubus_add_uloop(context);
    if (ubus_add_object(context, &object) != 0) give_up(name, "refused by the bus");
    uloop_run();
    std::exit(0);
}
