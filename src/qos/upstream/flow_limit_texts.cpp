#include "qos/upstream/flow_limit_texts.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/tokens.h"

namespace {

constexpr size_t kTextSize = 128;

using Token = char[kTextSize];

std::string_view bounded(const char* text) {
    return {text, strnlen(text, kTextSize - 1)};
}

struct Port {
    std::string_view name;
    uint32_t bit;
};

constexpr Port kPorts[] = {
    {"LAN1", 1},    {"LAN2", 2},    {"LAN3", 4},     {"LAN4", 8},
    {"SSID1", 256}, {"SSID2", 512}, {"SSID3", 1024}, {"SSID4", 2048},
};

/// 0 for what is no port.
uint32_t port_bit(std::string_view name) {
    for (const Port& port : kPorts)
        if (port.name == name) return port.bit;
    return 0;
}

}  // namespace

void igdCmQosUniLimitResolveFromString(const char* text, st_qos_port_limit (&limits)[10]) {
    base::Tokens tokens(bounded(text), "/,");
    Token token;
    for (auto* limit = limits; limit != std::end(limits) && tokens.next(token);) {
        if (const uint32_t bit = port_bit(token)) {
            limit->valid = 1;
            limit->port = bit;
        } else {
            limit->rate = std::atof(token);
            ++limit;
        }
    }
}

void igdCmQosVlanLimitResolveFromString(const char* text, st_qos_vlan_limit (&limits)[10]) {
    base::Tokens tokens(bounded(text), "/,");
    Token token;
    for (auto& limit : limits) {
        if (!tokens.next(token)) return;
        limit.valid = 1;
        // No number overflows here; their low 32 bits are what atoi makes of them.
        limit.vlan = static_cast<uint32_t>(std::strtoll(token, nullptr, 10));
        if (!tokens.next(token)) return;
        limit.rate = std::atof(token);
    }
}

void igdCmQosIpLimitResolveFromString(const char* text, st_qos_ip_limit (&limits)[10]) {
    base::Tokens tokens(bounded(text), "-/,");
    Token token;
    for (auto& limit : limits) {
        if (!tokens.next(limit.start)) return;
        limit.valid = 1;
        if (!tokens.next(limit.end) || !tokens.next(token)) return;
        limit.rate = std::atof(token);
    }
}
