#include "platform/linux/services/loopback_probe.h"

#include <arpa/inet.h>
#include <endian.h>
#include <net/ethernet.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace platform::platformd::loopback {

namespace {

/// Frames are not shorter, without their checksum.
constexpr size_t kSmallestFrame = ETHER_MIN_LEN - ETHER_CRC_LEN;
constexpr uint8_t kLocallyAdministered = 0x02;

// In network byte order.

/// Between the header, whose type says that it is there, and the body.
struct Tag {
    uint16_t vlan;
    uint16_t ethertype;
};

struct Body {
    uint32_t mark;
    uint32_t gateway;
    uint16_t port;
    uint16_t tag;
    uint32_t number;
    uint64_t key;
};
static_assert(std::has_unique_object_representations_v<Body> && sizeof(Body) == 24);
static_assert(kSmallestFrame + sizeof(Tag) == std::tuple_size<ProbeFrame>());
static_assert(sizeof(ether_header) + sizeof(Body) <= kSmallestFrame);

template <class Part>
uint8_t* put(uint8_t* at, const Part& part) {
    memcpy(at, &part, sizeof(part));
    return at + sizeof(part);
}

/// Switches learn it, so each port has one of its own.
void put_source(const Probe& probe, uint8_t (&address)[ETH_ALEN]) {
    const auto gateway = htonl(probe.gateway);
    address[0] = kLocallyAdministered;
    memcpy(address + 1, &gateway, sizeof(gateway));
    address[ETH_ALEN - 1] = static_cast<uint8_t>(probe.port);
}

}  // namespace

std::span<const uint8_t> compose(const Probe& probe, uint16_t ethertype, ProbeFrame& frame) {
    frame.fill(0);
    ether_header header{};
    std::ranges::fill(header.ether_dhost, UINT8_MAX);
    put_source(probe, header.ether_shost);
    header.ether_type = htons(probe.tag != 0 ? ETHERTYPE_VLAN : ethertype);
    auto* at = put(frame.data(), header);
    if (probe.tag != 0) at = put(at, Tag{htons(probe.tag), htons(ethertype)});
    put(at, Body{htonl(kProbeMark), htonl(probe.gateway), htons(probe.port), htons(probe.tag),
                 htonl(probe.number), htobe64(probe.key)});
    return std::span(frame).first(kSmallestFrame + (probe.tag != 0 ? sizeof(Tag) : 0));
}

bool recognise(std::span<const uint8_t> frame, uint16_t ethertype, uint32_t gateway, Probe& probe) {
    ether_header header;
    Body body;
    if (frame.size() < sizeof(header) + sizeof(body)) return false;
    memcpy(&header, frame.data(), sizeof(header));
    memcpy(&body, frame.data() + sizeof(header), sizeof(body));
    probe = {ntohl(body.gateway), ntohs(body.port), ntohs(body.tag), ntohl(body.number),
             be64toh(body.key)};
    return ntohs(header.ether_type) == ethertype && ntohl(body.mark) == kProbeMark &&
           probe.gateway == gateway;
}

}  // namespace platform::platformd::loopback
