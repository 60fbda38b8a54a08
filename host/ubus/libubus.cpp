#include "libubus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include "frame.h"

namespace {

/// A moment until which to wait; 0 milliseconds: for ever.
class Deadline {
  public:
    explicit Deadline(int milliseconds)
        : limited_(milliseconds != 0),
          end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}

    bool passed() const { return limited_ && Clock::now() >= end_; }

    /// What is left, as poll wants it.
    int remaining() const {
        if (!limited_) return -1;
        auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
    }

  private:
    using Clock = std::chrono::steady_clock;
    bool limited_;
    Clock::time_point end_;
};

/// A request that somebody up the stack waits for.
struct Request : ubus_request {
    void (*on_reply)(Request& request, const Frame& frame) = nullptr;
    Request* outer = nullptr;
};

struct Context : ubus_context {
    FrameReader reader;
    std::vector<ubus_object*> objects;
    std::deque<Frame> postponed;
    Request* innermost;
    int busy;  // handlers running and requests waiting
};

Context& context_of(ubus_context* context) {
    return *static_cast<Context*>(context);
}

void enter(Context& context) {
    ++context.busy;
}

void leave(Context& context) {
    if (--context.busy == 0 && !context.postponed.empty())
        uloop_timeout_set(&context.pending_timer, 0);
}

/// Gives the connection up such that the event loop, too, sees its end.
void abandon(Context& context) {
    context.sock.eof = true;
    ::shutdown(context.sock.fd, SHUT_RDWR);
}

void lose(Context& context) {
    abandon(context);
    context.connection_lost(&context);
}

bool send(Context& context, const FrameBody& body, MessageType type, uint16_t sequence,
          uint32_t peer) {
    if (body.send(context.sock.fd, type, sequence, peer)) return true;
    abandon(context);
    return false;
}

int call_method(Context& context, ubus_request_data& request, const Frame& frame) {
    auto& objects = context.objects;
    auto object = std::find_if(objects.begin(), objects.end(),
                               [&](auto* candidate) { return candidate->id == request.object; });
    if (object == objects.end()) return UBUS_STATUS_NOT_FOUND;
    const char* name = frame.text(Attribute::Method);
    blob_attr* arguments = frame.get(Attribute::Data);
    if (!name || !arguments) return UBUS_STATUS_INVALID_ARGUMENT;

    const ubus_method* end = (*object)->methods + (*object)->n_methods;
    const ubus_method* method = std::find_if((*object)->methods, end, [&](auto& candidate) {
        return !candidate.name || std::strcmp(candidate.name, name) == 0;
    });
    if (method == end) return UBUS_STATUS_METHOD_NOT_FOUND;
    return method->handler(&context, *object, &request, name, arguments);
}

void serve(Context& context, const Frame& frame) {
    if (!frame.get(Attribute::ObjectId)) return;
    ubus_request_data request{frame.number(Attribute::ObjectId), frame.peer(), frame.sequence(),
                              false};
    const blob_attr* no_reply = frame.get(Attribute::NoReply);
    enter(context);
    int status = call_method(context, request, frame);
    if (!request.deferred && !(no_reply && blob_get_u8(no_reply)))
        ubus_complete_deferred_request(&context, &request, status);
    leave(context);
}

void serve_one_postponed(uloop_timeout* timeout) {
    auto* bytes = reinterpret_cast<char*>(timeout) - offsetof(ubus_context, pending_timer);
    Context& context = context_of(reinterpret_cast<ubus_context*>(bytes));
    Frame frame = std::move(context.postponed.front());
    context.postponed.pop_front();
    serve(context, frame);
}

void deliver(Context& context, const Frame& frame) {
    Request* request = context.innermost;
    while (request && (request->seq != frame.sequence() || request->peer != frame.peer()))
        request = request->outer;
    if (!request) return;
    if (frame.type() == MessageType::Data) {
        request->on_reply(*request, frame);
        return;
    }
    request->status_msg = true;
    request->status_code = frame.get(Attribute::Status)
                               ? static_cast<int>(frame.number(Attribute::Status))
                               : static_cast<int>(UBUS_STATUS_PARSE_ERROR);
}

void dispatch(Context& context, Frame frame) {
    switch (frame.type()) {
        case MessageType::Status:
        case MessageType::Data:
            deliver(context, frame);
            break;
        case MessageType::Invoke:
            if (context.busy || !context.postponed.empty())
                context.postponed.push_back(std::move(frame));
            else
                serve(context, frame);
            break;
        case MessageType::Monitor:
            if (context.monitor_cb) context.monitor_cb(&context, frame.sequence(), frame.blob());
            break;
        default:
            break;
    }
}

void on_readable(uloop_fd* sock, unsigned int) {
    auto* bytes = reinterpret_cast<char*>(sock) - offsetof(ubus_context, sock);
    Context& context = context_of(reinterpret_cast<ubus_context*>(bytes));
    for (;;) {
        switch (context.reader.read(sock->fd)) {
            case FrameReader::Result::Frame:
                dispatch(context, context.reader.take());
                break;
            case FrameReader::Result::Nothing:
                if (sock->eof) context.connection_lost(&context);  // a handler could not send
                return;
            case FrameReader::Result::Lost:
                lose(context);
                return;
        }
    }
}

void wait_readable(int fd, const Deadline& deadline) {
    pollfd ready{fd, POLLIN, 0};
    ::poll(&ready, 1, deadline.remaining());
}

int wait_for_status(Context& context, Request& request, const Deadline& deadline) {
    while (!request.status_msg) {
        switch (context.reader.read(context.sock.fd)) {
            case FrameReader::Result::Frame:
                dispatch(context, context.reader.take());
                break;
            case FrameReader::Result::Nothing:
                wait_readable(context.sock.fd, deadline);
                break;
            case FrameReader::Result::Lost:
                lose(context);
                return UBUS_STATUS_CONNECTION_FAILED;
        }
        if (!request.status_msg && deadline.passed()) return UBUS_STATUS_TIMEOUT;
    }
    return request.status_code;
}

/// Sends the request and waits for its end, handing its replies to its on_reply.
int run(Context& context, Request& request, MessageType type, const FrameBody& body,
        int milliseconds) {
    Deadline deadline(milliseconds);
    request.ctx = &context;
    request.seq = ++context.request_seq;
    if (!body.sendable() || !send(context, body, type, request.seq, request.peer))
        return UBUS_STATUS_INVALID_ARGUMENT;

    request.outer = std::exchange(context.innermost, &request);
    enter(context);
    int status = wait_for_status(context, request, deadline);
    context.innermost = request.outer;
    leave(context);
    return status;
}

/// Asks the broker something that is answered with an object's id and type.
struct ObjectRequest : Request {
    uint32_t object_id = 0;
    uint32_t type_id = 0;

    ObjectRequest() : Request{} {
        on_reply = [](Request& request, const Frame& frame) {
            auto& self = static_cast<ObjectRequest&>(request);
            self.object_id = frame.number(Attribute::ObjectId);
            self.type_id = frame.number(Attribute::ObjectType);
        };
    }
};

struct LookupRequest : Request {
    ubus_lookup_handler_t found;

    LookupRequest(ubus_lookup_handler_t handler, void* handler_priv) : Request{}, found(handler) {
        priv = handler_priv;
        on_reply = [](Request& request, const Frame& frame) {
            ubus_object_data object{
                frame.number(Attribute::ObjectId), frame.number(Attribute::ObjectType),
                frame.text(Attribute::ObjectPath), frame.get(Attribute::Signature)};
            if (object.id == 0 || !object.path) return;
            static_cast<LookupRequest&>(request).found(request.ctx, &object, request.priv);
        };
    }
};

void add_signature(blob_buf& buffer, const ubus_object_type& type) {
    for (int i = 0; i < type.n_methods; ++i) {
        const ubus_method& method = type.methods[i];
        void* table = blobmsg_open_table(&buffer, method.name);
        for (int argument = 0; argument < method.n_policy; ++argument) {
            if (method.mask && !(method.mask >> argument & 1)) continue;
            const blobmsg_policy& policy = method.policy[argument];
            blobmsg_add_u32(&buffer, policy.name, policy.type);
        }
        blobmsg_close_table(&buffer, table);
    }
}

int connect_to(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof(address.sun_path)) return -1;
    std::strcpy(address.sun_path, path);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::fcntl(fd, F_SETFL, O_NONBLOCK) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool take_greeting(Context& context) {
    Deadline deadline(kBrokerPatience);
    FrameReader::Result result;
    while ((result = context.reader.read(context.sock.fd)) == FrameReader::Result::Nothing) {
        if (deadline.passed()) return false;
        wait_readable(context.sock.fd, deadline);
    }
    if (result == FrameReader::Result::Lost) return false;
    Frame frame = context.reader.take();
    context.local_id = frame.peer();
    return frame.type() == MessageType::Hello;
}

}  // namespace

ubus_context* ubus_connect(const char* path) {
    int fd = connect_to(path ? path : UBUS_UNIX_SOCKET);
    if (fd < 0) return nullptr;
    auto* context = new Context{};
    context->sock.fd = fd;
    context->sock.cb = on_readable;
    context->connection_lost = [](ubus_context* lost) {
        if (lost->sock.registered) uloop_end();
    };
    context->pending_timer.cb = serve_one_postponed;
    if (take_greeting(*context)) return context;
    ubus_free(context);
    return nullptr;
}

void ubus_free(ubus_context* ctx) {
    Context& context = context_of(ctx);
    uloop_timeout_cancel(&context.pending_timer);
    uloop_fd_delete(&context.sock);
    ::close(context.sock.fd);
    delete &context;
}

const char* ubus_strerror(int error) {
    static constexpr const char* kTexts[] = {"Success",
                                             "Invalid command",
                                             "Invalid argument",
                                             "Method not found",
                                             "Not found",
                                             "No response",
                                             "Permission denied",
                                             "Request timed out",
                                             "Operation not supported",
                                             "Unknown error",
                                             "Connection failed",
                                             "Out of memory",
                                             "Parsing message data failed",
                                             "System error"};
    static_assert(std::size(kTexts) == __UBUS_STATUS_LAST);
    if (error >= 0 && error < __UBUS_STATUS_LAST) return kTexts[error];
    static char unknown[32];
    std::snprintf(unknown, sizeof(unknown), "Unknown error: %d", error);
    return unknown;
}

// A gateway's broker refuses a second object of one name; the one on development machines would
// let it take the name over from the first.
static bool is_taken(ubus_context* ctx, const char* name) {
    uint32_t id = 0;
    return name && ubus_lookup_id(ctx, name, &id) == UBUS_STATUS_OK;
}

int ubus_add_object(ubus_context* ctx, ubus_object* obj) {
    Context& context = context_of(ctx);
    auto& objects = context.objects;
    if (std::find(objects.begin(), objects.end(), obj) != objects.end() || is_taken(ctx, obj->name))
        return UBUS_STATUS_INVALID_ARGUMENT;

    FrameBody body;
    if (obj->name) body.text(Attribute::ObjectPath, obj->name);
    if (obj->type && obj->type->id) {
        body.number(Attribute::ObjectType, obj->type->id);
    } else if (obj->type) {
        blob_buf signature{};
        blob_buf_init(&signature, 0);
        add_signature(signature, *obj->type);
        body.list(Attribute::Signature, signature.head);
        blob_buf_free(&signature);
    }
    ObjectRequest request;
    int status = run(context, request, MessageType::AddObject, body, kBrokerPatience);
    if (status != UBUS_STATUS_OK) return status;
    if (request.object_id == 0) return UBUS_STATUS_NO_DATA;
    obj->id = request.object_id;
    if (obj->type && request.type_id) obj->type->id = request.type_id;
    objects.push_back(obj);
    return UBUS_STATUS_OK;
}

int ubus_remove_object(ubus_context* ctx, ubus_object* obj) {
    Context& context = context_of(ctx);
    auto& objects = context.objects;
    if (std::find(objects.begin(), objects.end(), obj) == objects.end())
        return UBUS_STATUS_NOT_FOUND;

    FrameBody body;
    body.number(Attribute::ObjectId, obj->id);
    ObjectRequest request;
    int status = run(context, request, MessageType::RemoveObject, body, kBrokerPatience);
    if (status != UBUS_STATUS_OK) return status;
    std::erase(objects, obj);
    obj->id = 0;
    if (obj->type && request.type_id) obj->type->id = 0;
    return UBUS_STATUS_OK;
}

int ubus_lookup(ubus_context* ctx, const char* path, ubus_lookup_handler_t cb, void* priv) {
    FrameBody body;
    if (path) body.text(Attribute::ObjectPath, path);
    LookupRequest request(cb, priv);
    return run(context_of(ctx), request, MessageType::Lookup, body, kBrokerPatience);
}

int ubus_lookup_id(ubus_context* ctx, const char* path, uint32_t* id) {
    FrameBody body;
    body.text(Attribute::ObjectPath, path);
    ObjectRequest request;
    int status = run(context_of(ctx), request, MessageType::Lookup, body, kBrokerPatience);
    if (status != UBUS_STATUS_OK) return status;
    if (request.object_id == 0) return UBUS_STATUS_NOT_FOUND;
    *id = request.object_id;
    return UBUS_STATUS_OK;
}

int ubus_invoke_fd(ubus_context* ctx, uint32_t obj, const char* method, blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout, int fd) {
    if (fd >= 0) return UBUS_STATUS_NOT_SUPPORTED;
    FrameBody body;
    body.number(Attribute::ObjectId, obj).text(Attribute::Method, method);
    body.list(Attribute::Data, msg);
    Request request{};
    request.peer = obj;
    request.data_cb = cb;
    request.priv = priv;
    request.on_reply = [](Request& self, const Frame& frame) {
        blob_attr* data = frame.get(Attribute::Data);
        if (self.data_cb && data) self.data_cb(&self, static_cast<int>(frame.type()), data);
    };
    return run(context_of(ctx), request, MessageType::Invoke, body, timeout);
}

int ubus_send_reply(ubus_context* ctx, ubus_request_data* req, blob_attr* msg) {
    FrameBody body;
    body.number(Attribute::ObjectId, req->object).list(Attribute::Data, msg);
    bool sent = send(context_of(ctx), body, MessageType::Data, req->seq, req->peer);
    return sent ? UBUS_STATUS_OK : UBUS_STATUS_NO_DATA;
}

void ubus_defer_request(ubus_context*, ubus_request_data* req, ubus_request_data* new_req) {
    *new_req = *req;
    req->deferred = true;
}

void ubus_complete_deferred_request(ubus_context* ctx, ubus_request_data* req, int ret) {
    FrameBody body;
    body.number(Attribute::Status, static_cast<uint32_t>(ret));
    body.number(Attribute::ObjectId, req->object);
    send(context_of(ctx), body, MessageType::Status, req->seq, req->peer);
}
