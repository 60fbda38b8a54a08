#include "platform/linux/services/qos_limits.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>

#include "base/names.h"
#include "platform/linux/services/packet_text.h"

namespace platform::platformd::qos {

using enforce::Place;

namespace {

/// Above all profiles of hosts, which have their classes at the same places.
constexpr uint16_t kFirstMinor = 0x400;

/// One direction's limits, and how packets of that direction are recognised.
struct Side {
    const char* name;
    uint32_t mode;
    std::span<const st_qos_port_limit> ports;
    std::span<const st_qos_vlan_limit> vlans;
    std::span<const st_qos_ip_limit> addresses;
    const char* device;
    const char* address;
    Place place;
    const enforce::OwnedChain& chain;
};

Side up_side(const zu_sal_qos_dslimited_s& limits) {
    return {"upstream", limits.em_mode_up, limits.st_port_up, limits.st_vlan_up, limits.st_ip_up,
            "iifname",  "saddr",           Place::HostsUp,    kLimitedUp};
}

Side down_side(const zu_sal_qos_dslimited_s& limits) {
    return {"downlink",
            limits.em_mode_down,
            limits.st_port_down,
            limits.st_vlan_down,
            limits.st_ip_down,
            "oifname",
            "daddr",
            Place::HostsDown,
            kLimitedDown};
}

/// What is limited, as a piece of a rule; empty: it cannot be told.
std::string match_of(const Side& side, const st_qos_port_limit& limit, const Devices& devices) {
    constexpr int kFirstRadio = std::countr_zero(kRadio24Port);
    if (!std::has_single_bit(limit.port)) return {};
    const int bit = std::countr_zero(limit.port);
    const auto device = bit < kFirstRadio ? devices.lan_port(static_cast<uint32_t>(bit))
                                          : devices.wlan(static_cast<uint32_t>(bit - kFirstRadio));
    if (!base::is_interface_name(device)) return {};
    return std::string(side.device) + " \"" + device + "\" ";
}

std::string match_of(const Side&, const st_qos_vlan_limit& limit, const Devices&) {
    return limit.vlan <= kLastVlan ? "vlan id " + std::to_string(limit.vlan) + ' ' : std::string();
}

std::string match_of(const Side& side, const st_qos_ip_limit& limit, const Devices&) {
    packet_text::Addresses addresses;
    if (!packet_text::parse(text_of(limit.start), text_of(limit.end), addresses)) return {};
    return packet_text::address_match(side.address, addresses);
}

/// A limit that is in force.
struct Class {
    size_t number;  ///< from 1
    double rate;
    std::string match;
};

template <class Limit>
std::vector<Class> classes_of(const Side& side, std::span<const Limit> limits,
                              const Devices& devices) {
    std::vector<Class> classes;
    for (size_t i = 0; i < limits.size(); ++i)
        if (limits[i].valid == 1 && limits[i].rate > 0)
            classes.push_back({i + 1, limits[i].rate, match_of(side, limits[i], devices)});
    return classes;
}

std::vector<Class> classes_of(const Side& side, const Devices& devices) {
    switch (side.mode) {
        case kLimitPorts:
            return classes_of(side, side.ports, devices);
        case kLimitVlans:
            return classes_of(side, side.vlans, devices);
        case kLimitAddresses:
            return classes_of(side, side.addresses, devices);
        default:
            return {};
    }
}

uint16_t minor_of(const Class& limit) {
    return static_cast<uint16_t>(kFirstMinor + limit.number - 1);
}

uint32_t rate_of(const Class& limit) {
    constexpr double kMost = UINT32_MAX;
    return static_cast<uint32_t>(std::min(std::ceil(limit.rate), kMost));
}

std::string name_of(const Side& side, const Class& limit) {
    return std::string(side.name) + " limit " + std::to_string(limit.number);
}

// The first that fits counts.
void render(const Side& side, const std::vector<Class>& limits, enforce::RuleText& text) {
    for (const auto& limit : limits)
        text.rule(side.chain, "%scounter meta priority set %x:%x accept comment \"%s\"",
                  limit.match.c_str(), static_cast<unsigned>(side.place), minor_of(limit),
                  name_of(side, limit).c_str());
}

/// Takes out what cannot be told.
std::vector<Class> told(const Side& side, const Devices& devices, LeftOut& left_out) {
    auto limits = classes_of(side, devices);
    std::erase_if(limits, [&](const Class& limit) {
        if (!limit.match.empty()) return false;
        left_out.push_back(name_of(side, limit) + ": nothing here is what it is for");
        return true;
    });
    return limits;
}

void shape(const Side& side, const Devices& devices, enforce::Trees& trees) {
    LeftOut said;
    for (const auto& limit : told(side, devices, said))
        trees[side.place].classes.push_back({.minor = minor_of(limit),
                                             .parent = 0,
                                             .rate = rate_of(limit),
                                             .ceil = rate_of(limit)});
}

}  // namespace

void render_limits(const zu_sal_qos_dslimited_s& limits, const Devices& devices,
                   enforce::RuleText& text, LeftOut& left_out) {
    const auto up = up_side(limits), down = down_side(limits);
    render(up, told(up, devices, left_out), text);
    const auto to_hosts = told(down, devices, left_out);
    if (to_hosts.empty()) return;
    const auto mark = enforce::kFromGatewayMark;
    text.rule(kFromGateway, "meta mark set meta mark & 0x%08x | 0x%08x", ~enforce::kMarkMask, mark);
    text.rule(kLimitedDown, "meta mark & 0x%08x == 0 accept", mark);
    render(down, to_hosts, text);
}

void shape_limits(const zu_sal_qos_dslimited_s& limits, const Devices& devices,
                  enforce::Trees& trees) {
    shape(up_side(limits), devices, trees);
    shape(down_side(limits), devices, trees);
}

}  // namespace platform::platformd::qos
