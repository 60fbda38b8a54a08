#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "base/patience.h"
#include "platform/include/zu_ipc.h"
#include "platform/linux/ipc_client.h"
#include "platform/linux/ipc_directory.h"
#include "platform/linux/ipc_wire.h"

namespace platform {

namespace {

using Bytes = std::span<const uint8_t>;

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

// A service that has too many callers waiting is waited for; then it is taken for stuck.
bool is_accepted(int fd, const sockaddr_un& service) {
    const auto* address = reinterpret_cast<const sockaddr*>(&service);
    int result;
    for (base::Wait wait; (result = connect(fd, address, sizeof(service))) != 0;)
        if (errno != EAGAIN || !wait.pause()) break;
    return result == 0;
}

// Connecting must not block, receiving must.
int connect_to(const sockaddr_un& service) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    if (is_accepted(fd, service) && fcntl(fd, F_SETFL, 0) == 0) return fd;
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

bool has_room(int socket, const base::Wait& wait) {
    pollfd state = {.fd = socket, .events = POLLOUT, .revents = 0};
    int ready;
    do
        ready = poll(&state, 1, static_cast<int>(wait.left().count()));
    while (ready < 0 && errno == EINTR);
    return ready == 1;
}

/// 0, or what went wrong: EAGAIN if the service's queue has no room for as long as the daemon is
/// patient.
int send_patiently(int socket, const msghdr& message) {
    for (base::Wait wait;;) {
        if (sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) return 0;
        const int error = errno;
        if (error != EINTR && (error != EAGAIN || !has_room(socket, wait))) return error;
    }
}

// A full queue leaves the connection as it was, with nothing of this request sent: what was queued
// before is still going to be read, and later calls must come after it.
bool send_request(Connection& connection, std::string_view name, bool asynchronous, Bytes record) {
    auto header = ipc_request_header(name, asynchronous, static_cast<uint32_t>(record.size()));
    iovec parts[] = {{&header, sizeof(header)},
                     {const_cast<char*>(name.data()), name.size()},
                     {const_cast<uint8_t*>(record.data()), record.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    const int error = send_patiently(connection.socket, message);
    if (error != 0 && error != EAGAIN) hang_up(connection);
    return error == 0;
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

Connection* hand_over(const char* name, bool asynchronous, Bytes record) {
    if (!name || (!record.data() && !record.empty()) || record.size() > kIpcMaxRecord)
        return nullptr;
    auto* connection = connection_for(name);
    if (!connection || !send_request(*connection, name, asynchronous, record)) return nullptr;
    return connection;
}

}  // namespace

bool ipc_call(const char* name, Bytes record, IpcReply& reply) {
    auto* connection = hand_over(name, false, record);
    return connection && receive_reply(*connection, reply);
}

bool ipc_queue(const char* name, Bytes record) {
    return hand_over(name, true, record);
}

}  // namespace platform

extern "C" int32_t zu_ipc_call(const char* name, void* record, uint32_t size) {
    platform::IpcReply reply;
    if (!platform::ipc_call(name, {static_cast<const uint8_t*>(record), size}, reply)) return -1;
    if (size != 0) memcpy(record, reply.record.data(), std::min<size_t>(size, reply.record.size()));
    return reply.result;
}

extern "C" int32_t zu_ipc_asyn_call(const char* name, const void* record, uint32_t size) {
    return platform::ipc_queue(name, {static_cast<const uint8_t*>(record), size}) ? 0 : -1;
}
