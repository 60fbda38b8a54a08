#include "platform/linux/services/qos_profiles_rules.h"

namespace platform::platformd::qos_profiles {

namespace {

using enforce::kFromGatewayMark;
using enforce::kMarkMask;
using enforce::kQueueIdMask;
using enforce::Place;

/// Gives a frame whose mark has a profile's id the profile's class.
std::string by_mark(const Profiles& profiles, Place tree) {
    std::string classes;
    for (const auto& profile : profiles) {
        char text[64];
        snprintf(text, sizeof(text), "%s0x%08x : %x:%x", classes.empty() ? "" : ", ",
                 profile.id << kQueueMarkShift, static_cast<unsigned>(tree), profile.id);
        classes += text;
    }
    char start[64];
    snprintf(start, sizeof(start), "meta priority set meta mark & 0x%08x map { ", kQueueIdMask);
    return start + classes + " }";
}

void clear_mark(enforce::RuleText& text, const enforce::OwnedChain& chain) {
    text.rule(chain, "meta mark set meta mark & 0x%08x", ~kMarkMask);
}

}  // namespace

// The bits mean something else while a packet is routed, so they are cleared even when there is no
// profile any more. What comes out of the gateway is told from what only passes the bridge: between
// neighbours there is no limit, and such a frame may have met the rules of both.
void render(const Profiles& profiles, enforce::RuleText& text) {
    if (!profiles.empty()) {
        text.rule(kHostUp, "%s", by_mark(profiles, Place::HostsUp).c_str());
        text.rule(kHostOut, "meta mark set meta mark & 0x%08x | 0x%08x", ~kMarkMask,
                  kFromGatewayMark);
        text.rule(kHostDown, "meta mark & 0x%08x != 0 %s", kFromGatewayMark,
                  by_mark(profiles, Place::HostsDown).c_str());
        clear_mark(text, kHostDown);
    }
    clear_mark(text, kHostUp);
}

void shape(const Profiles& profiles, enforce::Trees& trees) {
    for (const auto& profile : profiles)
        for (const auto place : {Place::HostsUp, Place::HostsDown})
            trees[place].classes.push_back({.minor = static_cast<uint16_t>(profile.id),
                                            .parent = 0,
                                            .rate = profile.first_rate,
                                            .ceil = profile.first_rate});
}

}  // namespace platform::platformd::qos_profiles
