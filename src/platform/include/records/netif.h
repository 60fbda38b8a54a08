#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/zu_call.h"

// The platform records of network interfaces: which interface stands for which port of the gateway,
// and what the forwarding engine has learnt about hosts. All numbers are in host byte order.

struct ifinfo {
    char if_name[32];
    uint32_t if_role;
    uint32_t if_flag;  ///< 0 in requests; filled by the find call
    uint32_t reserved40;
    uint8_t if_type;
    uint8_t reserved45;
    uint16_t if_port;  ///< number of an Ethernet port, from 0
    uint32_t alport;   ///< ports, a bit each, or kWanPort
    uint32_t reserved52;
};

struct st_lrn_flush {
    uint8_t reserved0[16];
    uint8_t mac[6];
    uint8_t reserved22[22];
    uint32_t kind;
};

namespace platform {

/// Roles of an interface (`if_role`).
inline constexpr uint32_t kInterfaceLan = 0;
inline constexpr uint32_t kInterfacePon = 1;
inline constexpr uint32_t kInterfaceWanRoot = 3;

/// What an interface is (`if_type`).
inline constexpr uint8_t kInterfaceEthernet = 1;
inline constexpr uint8_t kInterfaceFibre = 2;
inline constexpr uint8_t kInterfaceRadio24 = 3;
inline constexpr uint8_t kInterfaceRadio58 = 4;

/// The port that leads to the provider. It stands alone, all others are bits.
inline constexpr uint32_t kWanPort = 0x70000001;
/// The radios; the further networks of one follow in the next higher bits.
inline constexpr uint32_t kRadio24Port = 0x100;
inline constexpr uint32_t kRadio58Port = 0x10000;

/// The bit of an Ethernet port, from 0; 0 where there is none.
constexpr uint32_t ethernet_port(uint32_t number) {
    return number < 32 ? uint32_t{1} << number : 0;
}

/// What is to be forgotten (`kind`): all that was learnt from a host's address.
inline constexpr uint32_t kLearntFromHost = 2;

inline constexpr RecordField kInterfaceFields[] = {
    RECORD_FIELD(ifinfo, if_name, 0),       RECORD_FIELD(ifinfo, if_role, 32),
    RECORD_FIELD(ifinfo, if_flag, 36),      RECORD_PADDING(ifinfo, reserved40, 40),
    RECORD_FIELD(ifinfo, if_type, 44),      RECORD_PADDING(ifinfo, reserved45, 45),
    RECORD_FIELD(ifinfo, if_port, 46),      RECORD_FIELD(ifinfo, alport, 48),
    RECORD_PADDING(ifinfo, reserved52, 52),
};
inline constexpr auto kInterfaceLayout = RECORD_LAYOUT(ifinfo, 56, kInterfaceFields);

inline constexpr RecordField kLearntFlushFields[] = {
    RECORD_PADDING(st_lrn_flush, reserved0, 0),
    RECORD_FIELD(st_lrn_flush, mac, 16),
    RECORD_PADDING(st_lrn_flush, reserved22, 22),
    RECORD_FIELD(st_lrn_flush, kind, 44),
};
inline constexpr auto kLearntFlushLayout = RECORD_LAYOUT(st_lrn_flush, 48, kLearntFlushFields);

/// Declares an interface. One that is known already has to be deleted first.
inline constexpr Call kInterfaceAdd{"zu_zu_netif_add_ifinfo_call", kInterfaceLayout};
/// Forgets the interface of that name; fails if there is none.
inline constexpr Call kInterfaceDel{"zu_zu_netif_del_ifinfo_call", kInterfaceLayout};
/// Fills the record with the interface at `alport` that is of type `if_type`; fails if there is
/// none.
inline constexpr Call kInterfaceFindByPort{"zu_zu_netif_find_ifinfo_by_alport_call",
                                           kInterfaceLayout};
/// Lets the forwarding engine learn a host anew, so that rules made meanwhile apply to it.
inline constexpr Call kLearntFlush{"zu_zu_netif_lrn_flush_call", kLearntFlushLayout};

}  // namespace platform
