#include "platform/linux/ipc_server.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/linux/ipc_directory.h"
#include "platform/linux/ipc_wire.h"

namespace platform {

namespace {

constexpr int kBacklog = 16;

struct Client : uloop_fd {
    bool connected;
    std::vector<uint8_t> late_reply;
};

struct LateTimer : uloop_timeout {
    Client* client;
};

struct Server {
    const char* socket;
    std::span<const char* const> names;
    IpcService service;
    uloop_fd listener;
    std::array<Client, 64> clients;
    std::array<LateTimer, 64> timers;
};

Server g_server;
alignas(std::max_align_t) std::array<uint8_t, kIpcMaxRecord> g_record;

LateTimer& timer_of(const Client& client) {
    return g_server.timers[static_cast<size_t>(&client - g_server.clients.data())];
}

void hang_up(Client& client) {
    uloop_timeout_cancel(&timer_of(client));
    uloop_fd_delete(&client);
    close(client.fd);
    client.connected = false;
}

// Every request is answered by one message, so a caller that reads its answers always has room for
// one more.
bool send_reply(Client& client, std::span<const uint8_t> reply) {
    const auto sent = send(client.fd, reply.data(), reply.size(), MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(reply.size());
}

std::span<const uint8_t> compose_reply(const IpcAnswer& answer, std::span<const uint8_t> record) {
    static std::array<uint8_t, kIpcMaxReply> buffer;
    const auto size = record.size() + answer.rows.size();
    const auto header = ipc_reply_header(answer.result, static_cast<uint32_t>(size));
    memcpy(buffer.data(), &header, sizeof(header));
    const auto behind = std::ranges::copy(record, buffer.begin() + sizeof(header)).out;
    std::ranges::copy(answer.rows, behind);
    return {buffer.data(), sizeof(header) + size};
}

void answer_late(uloop_timeout* timer) {
    auto& client = *static_cast<LateTimer*>(timer)->client;
    if (!client.late_reply.empty() && !send_reply(client, client.late_reply))
        return hang_up(client);
    uloop_fd_add(&client, ULOOP_READ | ULOOP_ERROR_CB);
}

void put_off(Client& client, std::span<const uint8_t> reply, uint32_t delay_ms) {
    uloop_fd_delete(&client);
    client.late_reply.assign(reply.begin(), reply.end());
    auto& timer = timer_of(client);
    timer.cb = answer_late;
    timer.client = &client;
    uloop_timeout_set(&timer, static_cast<int>(delay_ms));
}

void serve(Client& client, const IpcRequest& request) {
    std::ranges::copy(request.record, g_record.begin());
    const std::span<uint8_t> record(g_record.data(), request.record.size());
    const auto answer = g_server.service({request.name, request.asynchronous, record});
    std::span<const uint8_t> reply;
    if (!request.asynchronous) reply = compose_reply(answer, record);
    if (answer.delay_ms != 0) return put_off(client, reply, answer.delay_ms);
    if (!reply.empty() && !send_reply(client, reply)) hang_up(client);
}

void on_request(uloop_fd* fd, unsigned) {
    static std::array<uint8_t, kIpcMaxRequest> buffer;
    auto& client = *static_cast<Client*>(fd);
    const auto length = recv(fd->fd, buffer.data(), buffer.size(), MSG_TRUNC);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (length <= 0 || static_cast<size_t>(length) > buffer.size()) return hang_up(client);
    IpcRequest request;
    if (!ipc_parse_request({buffer.data(), static_cast<size_t>(length)}, request))
        return hang_up(client);
    serve(client, request);
}

void on_caller(uloop_fd* listener, unsigned) {
    const int fd = accept4(listener->fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) return;
    const auto free = std::ranges::find(g_server.clients, false, &Client::connected);
    if (free == g_server.clients.end()) {
        close(fd);
        return;
    }
    static_cast<uloop_fd&>(*free) = {};
    free->fd = fd;
    free->cb = on_request;
    free->connected = true;
    // A caller that hands over its last call and leaves at once is still heard: its requests are
    // read until the end of the stream.
    if (uloop_fd_add(&*free, ULOOP_READ | ULOOP_ERROR_CB) != 0) hang_up(*free);
}

bool is_answered(const sockaddr_un& address) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return false;
    const auto* peer = reinterpret_cast<const sockaddr*>(&address);
    const bool answered = connect(fd, peer, sizeof(address)) == 0 || errno == EAGAIN;
    close(fd);
    return answered;
}

// Nobody can connect before `listen`, so nobody but the owner ever can.
bool listen_at(int fd, const sockaddr_un& address) {
    unlink(address.sun_path);
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
           chmod(address.sun_path, S_IRUSR | S_IWUSR) == 0 && listen(fd, kBacklog) == 0;
}

// The socket is made under another name and renamed, so that a stale one is replaced in one step.
int make_listener(const char* name) {
    char temporary_name[kIpcMaxName];
    snprintf(temporary_name, sizeof(temporary_name), "%s.%d", name, static_cast<int>(getpid()));
    sockaddr_un address;
    sockaddr_un temporary;
    if (!ipc_address(name, address) || !ipc_address(temporary_name, temporary)) return -1;
    if (is_answered(address)) return -1;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    if (listen_at(fd, temporary) && rename(temporary.sun_path, address.sun_path) == 0) return fd;
    unlink(temporary.sun_path);
    close(fd);
    return -1;
}

bool link_names() {
    return std::ranges::all_of(g_server.names,
                               [](const char* name) { return ipc_link(name, g_server.socket); });
}

}  // namespace

bool ipc_server_start(const char* socket, std::span<const char* const> names, IpcService service) {
    if (!ipc_make_directory()) return false;
    const int fd = make_listener(socket);
    if (fd < 0) return false;
    g_server.socket = socket;
    g_server.names = names;
    g_server.service = service;
    g_server.listener = {};
    g_server.listener.fd = fd;
    g_server.listener.cb = on_caller;
    if (uloop_fd_add(&g_server.listener, ULOOP_READ) == 0 && link_names()) return true;
    ipc_server_stop();
    return false;
}

void ipc_server_stop() {
    for (const char* name : g_server.names)
        unlink(ipc_path(name).text);
    unlink(ipc_path(g_server.socket).text);
    for (auto& client : g_server.clients)
        if (client.connected) hang_up(client);
    uloop_fd_delete(&g_server.listener);
    close(g_server.listener.fd);
}

}  // namespace platform
