#include "platform/linux/services/qos_profiles.h"

#include <algorithm>

#include "platform/linux/platformd/service.h"
#include "platform/linux/queue_mark.h"
#include "platform/linux/services/qos_profiles_rules.h"

namespace platform::platformd::qos_profiles {

Profiles g_profiles;

void reset() {
    g_profiles.clear();
}

/// The first profile whose id leaves a lower one free, or the end.
auto first_gap() {
    uint32_t expected = 0;
    return std::ranges::find_if(
        g_profiles, [&expected](const st_qos_profile& held) { return held.id != ++expected; });
}

// A rate of 0 would be a profile that lets nothing through.
int32_t profile_set(st_qos_profile& profile) {
    if (profile.id != 0 || profile.first_rate == 0) return -1;
    if (g_profiles.size() == kLastMarkedQueue) return -1;
    const auto gap = first_gap();
    profile.id = static_cast<uint32_t>(gap - g_profiles.begin()) + 1;
    g_profiles.insert(gap, profile);
    return 0;
}

int32_t profile_del(st_qos_profile& profile) {
    const auto found = std::ranges::find(g_profiles, profile.id, &st_qos_profile::id);
    if (found == g_profiles.end()) return -1;
    g_profiles.erase(found);
    return 0;
}

void print(std::string& out) {
    for (const auto& profile : g_profiles)
        state_record(out, "profile", kQosProfileLayout, &profile);
}

void render(enforce::RuleText& text) {
    render(g_profiles, text);
}

void shape(enforce::Trees& trees) {
    shape(g_profiles, trees);
}

// Ids are handed out from the lowest free one: gaps are filled, and emptied when all have theirs.
void repeat(CallList& calls) {
    std::vector<st_qos_profile> fillers;
    uint32_t last = 0;
    for (auto profile : g_profiles) {
        for (auto filler = profile; ++last < profile.id;) {
            filler.id = 0;
            calls.add(kQosProfileSet, filler);
            filler.id = last;
            fillers.push_back(filler);
        }
        profile.id = 0;
        calls.add(kQosProfileSet, profile);
    }
    for (const auto& filler : fillers)
        calls.add(kQosProfileDel, filler);
}

constexpr enforce::OwnedChain kChains[] = {kHostUp, kHostOut, kHostDown};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};

constexpr ServiceCall kCalls[] = {
    service_call<profile_set>(kQosProfileSet),
    service_call<profile_del>(kQosProfileDel),
};

ServiceRegistration g_registration({.name = "qos_profiles",
                                    .calls = kCalls,
                                    .print = print,
                                    .told = print,
                                    .rules = &kRules,
                                    .shape = shape,
                                    .repeat = repeat});

}  // namespace platform::platformd::qos_profiles
