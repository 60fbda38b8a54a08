#include "platform/linux/enforce/kernel_news.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace platform::platformd::enforce {

namespace {

constexpr int kReceiveBuffer = 1 << 20;
constexpr size_t kMaxMessages = 1 << 15;

}  // namespace

bool KernelNews::start(int protocol, std::span<const int> groups) {
    socket_.reset(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol));
    if (!socket_ || !subscribe(groups)) return false;
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof(kReceiveBuffer));
    cb = on_readable;
    fd = socket_.get();
    return uloop_fd_add(this, ULOOP_READ) == 0;
}

void KernelNews::stop() {
    if (!socket_) return;
    uloop_fd_delete(this);
    socket_.reset();
}

void KernelNews::on_readable(uloop_fd* watch, unsigned) {
    static_cast<KernelNews*>(watch)->receive();
}

bool KernelNews::subscribe(std::span<const int> groups) const {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    if (bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        return false;
    return std::ranges::all_of(groups, [this](int group) {
        return setsockopt(socket_.get(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group,
                          sizeof(group)) == 0;
    });
}

void KernelNews::receive() const {
    alignas(nlmsghdr) static char buffer[kMaxMessages];
    for (;;) {
        const auto size = recv(socket_.get(), buffer, sizeof(buffer), MSG_DONTWAIT);
        if (size < 0 && errno != ENOBUFS) return;
        if (size < 0) missed_();
        auto* message = reinterpret_cast<nlmsghdr*>(buffer);
        for (auto left = static_cast<int>(size); left > 0 && NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left))
            take_(*message);
    }
}

}  // namespace platform::platformd::enforce
