#include "platform/linux/inspect/queue.h"

#include <arpa/inet.h>
#include <libnetfilter_queue/libnetfilter_queue.h>
#include <linux/netfilter.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "platform/linux/enforce/marks.h"

namespace platform::inspect {

namespace {

constexpr uint32_t kWholePacket = 0xffff;
constexpr size_t kMaxMessage = kWholePacket + 4096;
constexpr uint32_t kMaxWaiting = 1024;
constexpr unsigned kReceiveBuffer = 4 << 20;
constexpr uint32_t kFlags = NFQA_CFG_F_FAIL_OPEN | NFQA_CFG_F_GSO;
constexpr int kAtOnce = 16;

nfq_handle* g_handle;
Flows g_flows;

/// What the handler of a packet is given by `queue_take`.
struct Work {
    const Lists* lists;
    Counters* counters;
} g_work;

Mac sender_of(nfq_data* packet) {
    Mac mac{};
    const auto* card = nfq_get_packet_hw(packet);
    if (card && ntohs(card->hw_addrlen) == mac.size())
        memcpy(mac.data(), card->hw_addr, mac.size());
    return mac;
}

// Until it has been said what is listed, nothing is known.
Verdict judge(nfq_data* packet, const Lists& lists) {
    uint8_t* content = nullptr;
    const int size = nfq_get_payload(packet, &content);
    Segment segment;
    if (size <= 0 || lists.id() == 0) return Verdict::Look;
    if (!read_segment({content, static_cast<size_t>(size)}, segment)) return Verdict::Look;
    return g_flows.judge(segment, sender_of(packet), lists);
}

int on_packet(nfq_q_handle* queue, nfgenmsg*, nfq_data* packet, void*) {
    using namespace platformd::enforce;
    const auto* header = nfq_get_msg_packet_hdr(packet);
    if (!header) return 0;
    const auto verdict = judge(packet, *g_work.lists);
    ++g_work.counters->judged;
    g_work.counters->stopped += verdict == Verdict::Stop;
    const auto said = static_cast<uint32_t>(verdict) << kUrlShift;
    const auto mark = (nfq_get_nfmark(packet) & ~kUrlMask) | said;
    return nfq_set_verdict2(queue, ntohl(header->packet_id), NF_ACCEPT, mark, 0, nullptr);
}

}  // namespace

// What does not fit the socket's buffer has passed, and is nothing to be told of.
bool queue_open(uint16_t number, std::string& error) {
    g_handle = nfq_open();
    auto* queue = g_handle ? nfq_create_queue(g_handle, number, on_packet, nullptr) : nullptr;
    if (!queue || nfq_set_mode(queue, NFQNL_COPY_PACKET, kWholePacket) < 0 ||
        nfq_set_queue_flags(queue, kFlags, kFlags) < 0 ||
        nfq_set_queue_maxlen(queue, kMaxWaiting) < 0) {
        error = "no queue " + std::to_string(number) + ": " + strerror(errno);
        return false;
    }
    const int on = 1;
    setsockopt(nfq_fd(g_handle), SOL_NETLINK, NETLINK_NO_ENOBUFS, &on, sizeof(on));
    nfnl_rcvbufsiz(nfq_nfnlh(g_handle), kReceiveBuffer);
    return true;
}

int queue_descriptor() {
    return nfq_fd(g_handle);
}

bool queue_take(const Lists& lists, Counters& counters) {
    alignas(nlmsghdr) static char message[kMaxMessage];
    g_work = {&lists, &counters};
    for (int i = 0; i < kAtOnce; ++i) {
        const auto size = recv(nfq_fd(g_handle), message, sizeof(message), MSG_DONTWAIT);
        if (size < 0) return errno == EAGAIN || errno == EINTR || errno == ENOBUFS;
        nfq_handle_packet(g_handle, message, static_cast<int>(size));
    }
    return true;
}

}  // namespace platform::inspect
