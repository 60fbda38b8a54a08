#include "platform/linux/services/loopback_socket.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <sys/socket.h>

#include <cstddef>
#include <iterator>

namespace platform::platformd::loopback {

namespace {

constexpr int kReceiveBuffer = 64 * 1024;

template <class Value>
bool set(const base::UniqueFd& socket, int level, int option, const Value& value) {
    return setsockopt(socket.get(), level, option, &value, sizeof(value)) == 0;
}

// A frame that belongs to nobody here costs its port these few comparisons.
bool hear_only(const base::UniqueFd& socket, uint16_t ethertype, uint32_t gateway) {
    constexpr uint32_t kBody = sizeof(ether_header);
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, offsetof(ether_header, ether_type)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ethertype, 0, 5),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kBody),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kProbeMark, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kBody + sizeof(kProbeMark)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, gateway, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, std::tuple_size<ProbeFrame>()),
        BPF_STMT(BPF_RET | BPF_K, 0),
    };
    const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
    return set(socket, SOL_SOCKET, SO_ATTACH_FILTER, filter);
}

// Of all types: a bridge takes frames before those who ask for one type see them.
bool bind_to(const base::UniqueFd& socket, unsigned device) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(device);
    return bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
}

}  // namespace

// It hears nothing before it is bound, and then only what it should. Frames that go out it must not
// even see: each would be copied. Probes do not queue behind a storm where the kernel lets them.
base::UniqueFd open_probe_socket(unsigned device, uint16_t ethertype, uint32_t gateway) {
    const int on = 1;
    base::UniqueFd socket(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket || !set(socket, SOL_PACKET, PACKET_IGNORE_OUTGOING, on) ||
        !set(socket, SOL_SOCKET, SO_RCVBUF, kReceiveBuffer) ||
        !hear_only(socket, ethertype, gateway) || !bind_to(socket, device))
        return base::UniqueFd();
    set(socket, SOL_PACKET, PACKET_QDISC_BYPASS, on);
    return socket;
}

std::span<const uint8_t> receive_frame(const base::UniqueFd& socket, ProbeFrame& buffer) {
    const auto size = recv(socket.get(), buffer.data(), buffer.size(), 0);
    return std::span(buffer).first(size > 0 ? static_cast<size_t>(size) : 0);
}

void send_frame(const base::UniqueFd& socket, std::span<const uint8_t> frame) {
    (void)!send(socket.get(), frame.data(), frame.size(), MSG_NOSIGNAL);
}

}  // namespace platform::platformd::loopback
