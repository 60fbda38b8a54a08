#pragma once

// The gateway's bus library, as far as this gateway's programs use it, for machines that have none.
// Names, member orders and behaviour are those of the library on the gateways, so that the same
// sources build against either; what none of our programs needs (subscriptions, descriptors in
// messages, access lists) is left out. Every function that returns int returns an
// enum ubus_msg_status.

#ifdef __cplusplus
extern "C" {
#endif

#include <libubox/avl.h>
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <stdbool.h>
#include <stdint.h>

#define UBUS_UNIX_SOCKET "/var/run/ubus/ubus.sock"

enum ubus_msg_status {
    UBUS_STATUS_OK,
    UBUS_STATUS_INVALID_COMMAND,
    UBUS_STATUS_INVALID_ARGUMENT,
    UBUS_STATUS_METHOD_NOT_FOUND,
    UBUS_STATUS_NOT_FOUND,
    UBUS_STATUS_NO_DATA,
    UBUS_STATUS_PERMISSION_DENIED,
    UBUS_STATUS_TIMEOUT,
    UBUS_STATUS_NOT_SUPPORTED,
    UBUS_STATUS_UNKNOWN_ERROR,
    UBUS_STATUS_CONNECTION_FAILED,
    UBUS_STATUS_NO_MEMORY,
    UBUS_STATUS_PARSE_ERROR,
    UBUS_STATUS_SYSTEM_ERROR,
    __UBUS_STATUS_LAST
};

struct ubus_context;
struct ubus_event_handler;
struct ubus_object;
struct ubus_object_data;
struct ubus_request;
struct ubus_request_data;

// Who and what on the bus has a fixed number.
enum { UBUS_SYSTEM_OBJECT_EVENT = 1, UBUS_SYSTEM_OBJECT_MONITOR = 3 };

// Serves one call. `msg` holds the caller's arguments as the caller sent them (never NULL, contents
// unchecked) and is valid until the handler returns. The value returned becomes the call's status,
// after whatever was sent with ubus_send_reply, unless the call was deferred.
typedef int (*ubus_handler_t)(struct ubus_context* ctx, struct ubus_object* obj,
                              struct ubus_request_data* req, const char* method,
                              struct blob_attr* msg);
typedef void (*ubus_state_handler_t)(struct ubus_context* ctx, struct ubus_object* obj);
typedef void (*ubus_lookup_handler_t)(struct ubus_context* ctx, struct ubus_object_data* obj,
                                      void* priv);
// Takes one reply of a call that waits; the caller's `priv` is in `req`. `msg` is never NULL, comes
// from the other program unchecked and is valid until the callback returns.
typedef void (*ubus_data_handler_t)(struct ubus_request* req, int type, struct blob_attr* msg);

// Takes one event; `msg` as in ubus_handler_t.
typedef void (*ubus_event_handler_t)(struct ubus_context* ctx, struct ubus_event_handler* ev,
                                     const char* type, struct blob_attr* msg);

struct ubus_method {
    const char* name;  // NULL: every name
    ubus_handler_t handler;
    unsigned long mask;  // which arguments of `policy` are shown in the signature; 0: all
    unsigned long tags;
    const struct blobmsg_policy* policy;
    int n_policy;
};

struct ubus_object_type {
    const char* name;
    uint32_t id;  // set by the bus; objects of one type may be added one after another
    const struct ubus_method* methods;
    int n_methods;
};

struct ubus_object {
    struct avl_node avl;  // the library's own
    const char* name;     // NULL: reachable by id only
    uint32_t id;          // set while the object is on the bus
    const char* path;
    struct ubus_object_type* type;
    ubus_state_handler_t subscribe_cb;  // never called: there are no subscriptions here
    bool has_subscribers;
    const struct ubus_method* methods;
    int n_methods;
};

struct ubus_context {
    struct uloop_fd sock;
    uint32_t local_id;
    uint16_t request_seq;
    struct uloop_timeout pending_timer;
    // Called when the broker is gone or has sent what is no message: from the event loop, and from
    // within a request that waits; more than once, and again and again while the descriptor stays
    // in the loop. The context may be freed in it only where no request waits. The default ends the
    // loop if the descriptor is still in it, but the loop itself takes a descriptor out that was
    // hung up: a program that does not set this outlives its broker.
    void (*connection_lost)(struct ubus_context* ctx);
    // Takes each message that the broker tells of, after ubus_monitor_start; unchecked.
    void (*monitor_cb)(struct ubus_context* ctx, uint32_t seq, struct blob_attr* data);
};

struct ubus_event_handler {
    struct ubus_object obj;
    ubus_event_handler_t cb;
};

// The attributes of what goes to monitor_cb: numbers of 32 bits, but SEND of 8 (whether the broker
// sent it to CLIENT, or received it from there), and the message's own attributes in DATA.
enum ubus_monitor_attr {
    UBUS_MONITOR_CLIENT,
    UBUS_MONITOR_PEER,
    UBUS_MONITOR_SEND,
    UBUS_MONITOR_SEQ,
    UBUS_MONITOR_TYPE,
    UBUS_MONITOR_DATA,
    UBUS_MONITOR_MAX
};

struct ubus_object_data {
    uint32_t id;
    uint32_t type_id;
    const char* path;
    struct blob_attr* signature;  // one table per method: argument name, enum blobmsg_type
};

struct ubus_request_data {
    uint32_t object;
    uint32_t peer;
    uint16_t seq;
    bool deferred;
};

struct ubus_request {
    struct ubus_context* ctx;
    int status_code;
    bool status_msg;
    uint32_t peer;
    uint16_t seq;
    ubus_data_handler_t data_cb;
    void* priv;
};

#define UBUS_OBJECT_TYPE(_name, _methods) \
    { .name = _name, .id = 0, .methods = _methods, .n_methods = ARRAY_SIZE(_methods) }

#define UBUS_METHOD(_name, _handler, _policy)                                        \
    {                                                                                \
        .name = _name, .handler = _handler, .mask = 0, .tags = 0, .policy = _policy, \
        .n_policy = ARRAY_SIZE(_policy)                                              \
    }

#define UBUS_METHOD_NOARG(_name, _handler) \
    { .name = _name, .handler = _handler, .mask = 0, .tags = 0, .policy = NULL, .n_policy = 0 }

// Connects to the broker at `path` (NULL: UBUS_UNIX_SOCKET). NULL when there is none or it does not
// greet. The socket is non-blocking and close-on-exec.
struct ubus_context* ubus_connect(const char* path);
void ubus_free(struct ubus_context* ctx);

static inline void ubus_add_uloop(struct ubus_context* ctx) {
    uloop_fd_add(&ctx->sock, ULOOP_BLOCKING | ULOOP_READ);
}

// Serves what has arrived, without waiting.
static inline void ubus_handle_event(struct ubus_context* ctx) {
    ctx->sock.cb(&ctx->sock, ULOOP_READ);
}

const char* ubus_strerror(int error);

// The requests below wait for the broker's answer. Replies are matched by sequence number and
// sender, so other requests may be waiting further up the stack. Calls of our own objects that
// arrive meanwhile are kept and served in order from the event loop once nothing waits or runs
// any more: handlers never nest, and a handler that calls itself, or whose callee calls back, ends
// in the inner call's timeout. UBUS_STATUS_CONNECTION_FAILED when the broker gets lost,
// UBUS_STATUS_TIMEOUT when it does not answer in ten seconds,
// UBUS_STATUS_INVALID_ARGUMENT for messages beyond 1 MiB and when the broker is lost already.

// Puts the object on the bus and sets its id and its type's. Its strings, methods and type must
// stay. UBUS_STATUS_INVALID_ARGUMENT when it is there already or the broker refuses the name,
// UBUS_STATUS_NO_DATA when the broker gives it no id.
int ubus_add_object(struct ubus_context* ctx, struct ubus_object* obj);

// UBUS_STATUS_NOT_FOUND when the object is not on the bus.
int ubus_remove_object(struct ubus_context* ctx, struct ubus_object* obj);

// Calls `cb` for every object whose name is `path` (NULL: all; a final '*' stands for any rest).
// UBUS_STATUS_NOT_FOUND when there is none.
int ubus_lookup(struct ubus_context* ctx, const char* path, ubus_lookup_handler_t cb, void* priv);
int ubus_lookup_id(struct ubus_context* ctx, const char* path, uint32_t* id);

// Calls a method and waits until it ends or `timeout` milliseconds have passed (0: no limit). The
// arguments are the attributes in `msg` (NULL: none). Returns the call's status; replies go to `cb`
// (may be NULL) as they come. Descriptors cannot be sent: UBUS_STATUS_NOT_SUPPORTED unless fd is
// -1.
int ubus_invoke_fd(struct ubus_context* ctx, uint32_t obj, const char* method,
                   struct blob_attr* msg, ubus_data_handler_t cb, void* priv, int timeout, int fd);

static inline int ubus_invoke(struct ubus_context* ctx, uint32_t obj, const char* method,
                              struct blob_attr* msg, ubus_data_handler_t cb, void* priv,
                              int timeout) {
    return ubus_invoke_fd(ctx, obj, method, msg, cb, priv, timeout, -1);
}

// Sends one reply to the caller; any number may be sent before the call ends. UBUS_STATUS_NO_DATA
// without a broker. The length is not looked at: the broker drops a client whose message, the reply
// and 12 bytes around it, is beyond 1 MiB.
int ubus_send_reply(struct ubus_context* ctx, struct ubus_request_data* req, struct blob_attr* msg);

// Leaves the call open when its handler returns; `new_req` may then be used until
// ubus_complete_deferred_request ends the call with status `ret`.
void ubus_defer_request(struct ubus_context* ctx, struct ubus_request_data* req,
                        struct ubus_request_data* new_req);
void ubus_complete_deferred_request(struct ubus_context* ctx, struct ubus_request_data* req,
                                    int ret);

// Has `ev->cb` called from the event loop for every event that `pattern` names (a final '*' stands
// for any rest); may be called again with further patterns. `ev` starts as zeroes, but for cb.
int ubus_register_event_handler(struct ubus_context* ctx, struct ubus_event_handler* ev,
                                const char* pattern);

// Sends the event `id` with the contents of `data` to all who listen for it.
int ubus_send_event(struct ubus_context* ctx, const char* id, struct blob_attr* data);

// Has all messages on the bus told to monitor_cb. UBUS_STATUS_PERMISSION_DENIED but for root.
int ubus_monitor_start(struct ubus_context* ctx);
int ubus_monitor_stop(struct ubus_context* ctx);

#ifdef __cplusplus
}
#endif
