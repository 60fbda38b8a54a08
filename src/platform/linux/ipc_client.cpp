#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/include/zu_ipc.h"
#include "platform/linux/ipc_directory.h"
#include "platform/linux/ipc_wire.h"

namespace {

// A request waits this long for room in a service's queue; then the service is taken for stuck.
constexpr timeval kSendPatience = {.tv_sec = 2, .tv_usec = 0};

struct Connection {
    sockaddr_un service;
    int socket = -1;
};

// One per service, because the calls to one service must arrive in order whatever their names.
std::array<Connection, 8> g_connections;
size_t g_next_victim;

void hang_up(Connection& connection) {
    close(connection.socket);
    connection.socket = -1;
}

bool is_to(const Connection& connection, const sockaddr_un& service) {
    return strcmp(connection.service.sun_path, service.sun_path) == 0;
}

Connection& slot_for(const sockaddr_un& service) {
    for (auto& connection : g_connections)
        if (is_to(connection, service)) return connection;
    for (auto& connection : g_connections)
        if (connection.socket < 0) return connection;
    auto& victim = g_connections[g_next_victim++ % g_connections.size()];
    hang_up(victim);
    return victim;
}

// Between two calls the service has nothing to say: what can be read then is its hanging up, or
// bytes that no call asked for.
bool is_quiet(int socket) {
    pollfd state = {.fd = socket, .events = POLLIN | POLLRDHUP, .revents = 0};
    return poll(&state, 1, 0) != 1;
}

int connect_to(const sockaddr_un& service) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kSendPatience, sizeof(kSendPatience));
    if (connect(fd, reinterpret_cast<const sockaddr*>(&service), sizeof(service)) == 0) return fd;
    close(fd);
    return -1;
}

Connection* connection_for(const char* name) {
    sockaddr_un service;
    if (!ipc_resolve(name, service)) return nullptr;
    auto& connection = slot_for(service);
    if (connection.socket >= 0 && !is_quiet(connection.socket)) hang_up(connection);
    if (connection.socket < 0) connection = {service, connect_to(service)};
    return connection.socket >= 0 ? &connection : nullptr;
}

// A full queue leaves the connection as it was, with nothing of this request sent: what was queued
// before is still going to be read, and later calls must come after it.
bool send_request(Connection& connection, std::string_view name, bool asynchronous,
                  const void* record, uint32_t size) {
    auto header = ipc_request_header(name, asynchronous, size);
    iovec parts[] = {{&header, sizeof(header)},
                     {const_cast<char*>(name.data()), name.size()},
                     {const_cast<void*>(record), size}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    ssize_t sent;
    do
        sent = sendmsg(connection.socket, &message, MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    if (sent >= 0) return true;
    if (errno != EAGAIN) hang_up(connection);
    return false;
}

bool receive_reply(Connection& connection, IpcReply& reply) {
    static std::array<uint8_t, kIpcMaxReply> buffer;
    ssize_t length;
    do
        length = recv(connection.socket, buffer.data(), buffer.size(), MSG_TRUNC);
    while (length < 0 && errno == EINTR);
    const bool whole = length > 0 && static_cast<size_t>(length) <= buffer.size();
    if (whole && ipc_parse_reply({buffer.data(), static_cast<size_t>(length)}, reply)) return true;
    hang_up(connection);
    return false;
}

Connection* hand_over(const char* name, bool asynchronous, const void* record, uint32_t size) {
    if (!name || (!record && size != 0) || size > kIpcMaxRecord) return nullptr;
    auto* connection = connection_for(name);
    if (!connection || !send_request(*connection, name, asynchronous, record, size)) return nullptr;
    return connection;
}

}  // namespace

extern "C" int32_t zu_ipc_call(const char* name, void* record, uint32_t size) {
    auto* connection = hand_over(name, false, record, size);
    IpcReply reply;
    if (!connection || !receive_reply(*connection, reply)) return -1;
    if (size != 0) memcpy(record, reply.record.data(), std::min<size_t>(size, reply.record.size()));
    return reply.result;
}

extern "C" int32_t zu_ipc_asyn_call(const char* name, const void* record, uint32_t size) {
    return hand_over(name, true, record, size) ? 0 : -1;
}
