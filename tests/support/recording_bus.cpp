#include "support/recording_bus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

namespace {
std::string last_reply;
ubus_context* bus = nullptr;
int made = 0;
int freed = 0;
}  // namespace

void use_bus(ubus_context* context) {
    bus = context;
    made = freed = 0;
}

int connections_made() {
    return made;
}

int connections_freed() {
    return freed;
}

// These stand before the library's own, which would want a bus.

extern "C" ubus_context* ubus_connect(const char*) {
    if (bus) ++made;
    return bus;
}

extern "C" void ubus_free(ubus_context*) {
    ++freed;
}

extern "C" int ubus_send_reply(ubus_context*, ubus_request_data*, blob_attr* message) {
    char* text = blobmsg_format_json(message, true);
    last_reply = text;
    std::free(text);
    return 0;
}

BusReply call_method(ubus_object* object, const std::string& method, const std::string& json) {
    blob_buf message{};
    blob_buf_init(&message, 0);
    EXPECT_TRUE(blobmsg_add_json_from_string(&message, json.c_str())) << json;
    last_reply.clear();
    int status = UBUS_STATUS_METHOD_NOT_FOUND;
    for (int i = 0; i < object->n_methods; ++i) {
        ubus_request_data request{};
        if (method == object->methods[i].name)
            status =
                object->methods[i].handler(nullptr, object, &request, method.c_str(), message.head);
    }
    blob_buf_free(&message);
    return {status, last_reply};
}

void PrintTo(const BusReply& reply, std::ostream* out) {
    *out << "status " << reply.status << ", reply " << reply.text;
}

BusReply success() {
    return {0, R"({"result":0})"};
}

BusReply failure(int code, const std::string& reason) {
    return {0, "{\"result\":" + std::to_string(code) + ",\"fail_reason\":\"" + reason + "\"}"};
}
