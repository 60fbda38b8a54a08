#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>
#include <string>

#include "platform/linux/ipc_directory.h"
#include "platform/linux/ipc_wire.h"

using namespace platform;

// Peers of the calls between processes that say what they like.

using Message = std::string;

template <class Header>
Message as_message(const Header& header) {
    return {reinterpret_cast<const char*>(&header), sizeof(header)};
}

inline Message request_message(const std::string& name, bool asynchronous, const Message& record) {
    const auto size = static_cast<uint32_t>(record.size());
    return as_message(ipc_request_header(name, asynchronous, size)) + name + record;
}

inline Message reply_message(int32_t result, const Message& record) {
    return as_message(ipc_reply_header(result, static_cast<uint32_t>(record.size()))) + record;
}

/// A socket of which only the messages matter.
class RawSocket {
  public:
    explicit RawSocket(int fd) : fd_(fd) {}
    RawSocket(const RawSocket&) = delete;
    ~RawSocket() { close(fd_); }

    /// Connected to a service's socket in the run directory.
    static int connected(const char* service) {
        sockaddr_un address;
        ipc_address(service, address);
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        const auto* peer = reinterpret_cast<const sockaddr*>(&address);
        return connect(fd, peer, sizeof(address)) == 0 ? fd : (close(fd), -1);
    }

    bool send_message(const Message& message) const {
        return send(fd_, message.data(), message.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(message.size());
    }

    /// Empty when the peer has hung up.
    Message receive() const {
        Message message(kIpcMaxRequest, '\0');
        const auto length = recv(fd_, message.data(), message.size(), 0);
        message.resize(length > 0 ? static_cast<size_t>(length) : 0);
        return message;
    }

    int fd() const { return fd_; }

  private:
    int fd_;
};

/// A listening socket `socket`, and a link to it for each of `names`.
inline int listen_as(const char* socket_name, std::initializer_list<const char*> names) {
    sockaddr_un address;
    if (!ipc_make_directory() || !ipc_address(socket_name, address)) return -1;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    listen(fd, 16);
    for (const char* name : names)
        ipc_link(name, socket_name);
    return fd;
}
