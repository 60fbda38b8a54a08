#include "platform/linux/services/loopback_rules.h"

#include <net/ethernet.h>

#include <algorithm>
#include <set>

#include "platform/linux/services/loopback_probe.h"

namespace platform::platformd::loopback {

namespace {

constexpr uint32_t kLargestVlan = 4094;
constexpr int64_t kSecond = 1000;
constexpr int64_t kUsualExist = 5 * kSecond;
constexpr int64_t kUsualCancel = 30 * kSecond;
constexpr uint32_t kMaxProbes = 100;
/// A storm may swallow some: so many in a row have to be missed before it means anything.
constexpr int64_t kFewProbes = 3;
constexpr uint16_t kUsualEthertype = ETHERTYPE_LOOPBACK;
constexpr uint16_t kSmallestEthertype = 0x600;
constexpr uint16_t kTagEthertypes[] = {ETHERTYPE_VLAN, kServiceTag};

int64_t seconds_or(uint32_t seconds, int64_t usual) {
    return seconds == 0 ? usual : seconds * kSecond;
}

}  // namespace

Periods periods_of(const st_loopback_detection_time& time) {
    const auto probe = kSecond / std::clamp(time.pkt_per_sec, 1U, kMaxProbes);
    return {.probe = probe,
            .exist = seconds_or(time.exist, kUsualExist),
            .cancel = std::max(seconds_or(time.cancel, kUsualCancel), kFewProbes * probe)};
}

bool makes_sense(const st_loopback_detection_attr& attr) {
    return attr.enable <= 1 && attr.port < kLoopbackPorts && attr.ethtype <= UINT16_MAX &&
           attr.tagnum <= std::size(attr.tag) &&
           std::ranges::all_of(attr.tag, [](uint32_t tag) { return tag <= kLargestVlan; });
}

uint16_t ethertype_of(const st_loopback_detection_attr& attr) {
    const auto asked = static_cast<uint16_t>(attr.ethtype);
    const bool usable = asked >= kSmallestEthertype &&
                        std::ranges::find(kTagEthertypes, asked) == std::end(kTagEthertypes);
    return usable ? asked : kUsualEthertype;
}

std::vector<uint16_t> tags_of(const st_loopback_detection_attr& attr) {
    if (attr.tagnum == 0) return {0};
    return {attr.tag, attr.tag + attr.tagnum};
}

// By the protocol inside a tag, if there is one: "ether type" would be that of the tag.
void render(const Settings& settings, uint32_t gateway, enforce::RuleText& text) {
    std::set<uint16_t> ethertypes;
    for (const auto& [port, attr] : settings.ports)
        if (attr.enable != 0) ethertypes.insert(ethertype_of(attr));
    for (const auto ethertype : ethertypes)
        text.rule(kProbes, "meta protocol 0x%04x @nh,0,64 0x%08x%08x drop", ethertype, kProbeMark,
                  gateway);
}

}  // namespace platform::platformd::loopback
