// The tool's commands for events, and for all that goes over the bus.

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "tool.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace {

const Options* g_options;

constexpr const char* kMessageTypes[] = {"hello",     "status",      "data",       "ping",
                                         "lookup",    "invoke",      "add_object", "remove_object",
                                         "subscribe", "unsubscribe", "notify"};

struct KnownAttribute {
    const char* name;
    int type;
};
constexpr KnownAttribute kAttributes[] = {
    {nullptr, BLOB_ATTR_UNSPEC},     {"status", BLOB_ATTR_INT32},  {"objpath", BLOB_ATTR_STRING},
    {"objid", BLOB_ATTR_INT32},      {"method", BLOB_ATTR_STRING}, {"objtype", BLOB_ATTR_INT32},
    {"signature", BLOB_ATTR_NESTED}, {"data", BLOB_ATTR_NESTED},   {nullptr, BLOB_ATTR_UNSPEC},
    {"active", BLOB_ATTR_INT8},      {"no_reply", BLOB_ATTR_INT8}, {nullptr, BLOB_ATTR_UNSPEC},
    {"user", BLOB_ATTR_STRING},      {"group", BLOB_ATTR_STRING},
};
constexpr int kAttributeNumber = std::size(kAttributes);

/// Runs the loop until the time is over or the broker is gone.
void watch(ubus_context* context, int seconds) {
    uloop_timeout end{};
    end.cb = [](uloop_timeout*) { uloop_end(); };
    context->connection_lost = [](ubus_context*) { uloop_end(); };
    uloop_init();
    ubus_add_uloop(context);
    if (seconds) uloop_timeout_set(&end, seconds * 1000);
    uloop_run();
    uloop_done();
}

void print_event(ubus_context*, ubus_event_handler*, const char* type, blob_attr* message) {
    if (Text text = one_line(message)) std::printf("{ \"%s\": %s }\n", type, text.get());
    std::fflush(stdout);
}

void add_attribute(blob_buf& buffer, const KnownAttribute& known, blob_attr* value) {
    switch (known.type) {
        case BLOB_ATTR_INT32:
            blobmsg_add_u32(&buffer, known.name, blob_get_u32(value));
            break;
        case BLOB_ATTR_INT8:
            blobmsg_add_u8(&buffer, known.name, blob_get_u8(value) != 0);
            break;
        case BLOB_ATTR_STRING:
            blobmsg_add_string(&buffer, known.name, blob_get_string(value));
            break;
        default:
            if (well_formed(blob_data(value), blob_len(value)))
                blobmsg_add_field(&buffer, BLOBMSG_TYPE_TABLE, known.name, blob_data(value),
                                  static_cast<unsigned int>(blob_len(value)));
    }
}

/// The attributes of a message that went over the bus.
Text format_message(blob_attr* message) {
    blob_attr_info kinds[kAttributeNumber] = {};
    for (int id = 0; id < kAttributeNumber; ++id)
        kinds[id].type = static_cast<unsigned int>(kAttributes[id].type);
    blob_attr* values[kAttributeNumber] = {};
    blob_parse_untrusted(message, blob_raw_len(message), values, kinds, kAttributeNumber);
    blob_buf buffer{};
    blob_buf_init(&buffer, 0);
    for (int id = 0; id < kAttributeNumber; ++id)
        if (values[id] && kAttributes[id].name) add_attribute(buffer, kAttributes[id], values[id]);
    Text text = one_line(buffer.head);
    blob_buf_free(&buffer);
    return text;
}

bool wanted(uint32_t type, bool sent) {
    const Options& options = *g_options;
    if (options.message_types && type < 32 && !(options.message_types >> type & 1)) return false;
    return !options.direction || (options.direction == 't') == sent;
}

void print_message(ubus_context*, uint32_t, blob_attr* told) {
    blob_attr_info kinds[UBUS_MONITOR_MAX] = {};
    for (auto& kind : kinds)
        kind.type = BLOB_ATTR_INT32;
    kinds[UBUS_MONITOR_SEND].type = BLOB_ATTR_INT8;
    kinds[UBUS_MONITOR_DATA].type = BLOB_ATTR_NESTED;
    blob_attr* values[UBUS_MONITOR_MAX] = {};
    blob_parse_untrusted(told, blob_raw_len(told), values, kinds, UBUS_MONITOR_MAX);
    for (int id : {UBUS_MONITOR_CLIENT, UBUS_MONITOR_PEER, UBUS_MONITOR_SEND, UBUS_MONITOR_TYPE,
                   UBUS_MONITOR_DATA}) {
        if (values[id]) continue;
        std::puts("Invalid monitor msg");
        return;
    }
    const uint32_t type = blob_get_u32(values[UBUS_MONITOR_TYPE]);
    const bool sent = blob_get_u8(values[UBUS_MONITOR_SEND]) != 0;
    if (!wanted(type, sent)) return;
    char number[12];
    std::snprintf(number, sizeof(number), "%" PRIu32, type);
    Text text = format_message(values[UBUS_MONITOR_DATA]);
    std::printf("%s %08" PRIx32 " #%08" PRIx32 " %14s: %s\n", sent ? "->" : "<-",
                blob_get_u32(values[UBUS_MONITOR_CLIENT]), blob_get_u32(values[UBUS_MONITOR_PEER]),
                type < std::size(kMessageTypes) ? kMessageTypes[type] : number,
                text ? text.get() : "");
    std::fflush(stdout);
}

}  // namespace

int listen(ubus_context* context, const Options& options, char** arguments, int count) {
    static char all[] = "*";
    char* everything[] = {all};
    if (count == 0) arguments = everything, count = 1;
    ubus_event_handler handler{};
    handler.cb = print_event;
    for (int i = 0; i < count; ++i) {
        int status = ubus_register_event_handler(context, &handler, arguments[i]);
        if (status == UBUS_STATUS_OK) continue;
        if (!options.simple)
            std::fprintf(stderr, "Error while registering for event '%s': %s\n", arguments[i],
                         ubus_strerror(status));
        return kFailed;
    }
    watch(context, options.listen_seconds);
    return UBUS_STATUS_OK;
}

int send(ubus_context* context, const Options&, char** arguments, int count) {
    blob_buf message{};
    blob_buf_init(&message, 0);
    int status = UBUS_STATUS_PARSE_ERROR;
    if (count == 1 || blobmsg_add_json_from_string(&message, arguments[1]))
        status = ubus_send_event(context, arguments[0], message.head);
    blob_buf_free(&message);
    return status;
}

int monitor(ubus_context* context, const Options& options, char**, int) {
    g_options = &options;
    context->monitor_cb = print_message;
    int status = ubus_monitor_start(context);
    if (status != UBUS_STATUS_OK) return status;
    watch(context, 0);
    ubus_monitor_stop(context);
    return UBUS_STATUS_OK;
}

uint32_t message_type_bit(const char* name) {
    for (size_t type = 0; type < std::size(kMessageTypes); ++type)
        if (std::strcmp(kMessageTypes[type], name) == 0) return uint32_t{1} << type;
    return 0;
}
