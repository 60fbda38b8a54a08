#include "platform/linux/inspect/packet.h"

#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/ip6.h>
#include <netinet/tcp.h>

#include <algorithm>
#include <cstring>

namespace platform::inspect {

namespace {

constexpr uint8_t kVersion6 = 6;
constexpr size_t kWord = 4;
constexpr size_t kExtensionUnit = 8;

template <class Header>
bool peek(Bytes bytes, Header& header) {
    if (bytes.size() < sizeof(header)) return false;
    memcpy(&header, bytes.data(), sizeof(header));
    return true;
}

/// Removes that many bytes from the front.
bool cut(Bytes& bytes, size_t size) {
    if (size > bytes.size()) return false;
    bytes = bytes.subspan(size);
    return true;
}

void put_ends(FlowKey& key, const void* addresses, size_t size) {
    memcpy(&key[1], addresses, size);
}

// Each cuts its header off and leaves what stands in the protocol's own.

bool read_v4(Bytes& packet, FlowKey& key) {
    iphdr header;
    if (!peek(packet, header) || header.protocol != IPPROTO_TCP) return false;
    if ((ntohs(header.frag_off) & IP_OFFMASK) != 0) return false;
    const size_t size = header.ihl * kWord, whole = ntohs(header.tot_len);
    if (size < sizeof(header) || whole < size) return false;
    packet = packet.first(std::min(packet.size(), whole));
    put_ends(key, &header.saddr, sizeof(header.saddr) + sizeof(header.daddr));
    return cut(packet, size);
}

bool is_extension(uint8_t protocol) {
    return protocol == IPPROTO_HOPOPTS || protocol == IPPROTO_ROUTING ||
           protocol == IPPROTO_DSTOPTS;
}

// A length of 0 is that of a packet of more than 64 KB.
bool read_v6(Bytes& packet, FlowKey& key) {
    ip6_hdr header;
    if (!peek(packet, header)) return false;
    put_ends(key, &header.ip6_src, sizeof(header.ip6_src) + sizeof(header.ip6_dst));
    const size_t whole = ntohs(header.ip6_plen);
    cut(packet, sizeof(header));
    if (whole != 0) packet = packet.first(std::min(packet.size(), whole));
    uint8_t protocol = header.ip6_nxt;
    while (is_extension(protocol)) {
        ip6_ext extension;
        if (!peek(packet, extension) || !cut(packet, (extension.ip6e_len + 1U) * kExtensionUnit))
            return false;
        protocol = extension.ip6e_nxt;
    }
    return protocol == IPPROTO_TCP;
}

}  // namespace

// What is sent along with the beginning of a connection comes behind a number of its own.
bool read_segment(Bytes packet, Segment& segment) {
    segment.key = {};
    if (packet.empty()) return false;
    segment.key[0] = packet[0] >> 4;
    const bool is_v4 = segment.key[0] == IPVERSION;
    if (!is_v4 && segment.key[0] != kVersion6) return false;
    if (!(is_v4 ? read_v4(packet, segment.key) : read_v6(packet, segment.key))) return false;
    tcphdr header;
    if (!peek(packet, header) || header.th_off * kWord < sizeof(header) ||
        !cut(packet, header.th_off * kWord))
        return false;
    memcpy(&segment.key[segment.key.size() - kWord], &header, kWord);
    segment.port = ntohs(header.th_dport);
    segment.sequence = ntohl(header.th_seq) + header.syn;
    segment.payload = packet;
    return true;
}

}  // namespace platform::inspect
