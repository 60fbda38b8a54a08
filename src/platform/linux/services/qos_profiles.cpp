#include "platform/linux/services/qos_profiles.h"

#include <algorithm>
#include <vector>

#include "platform/include/records/qos.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::qos_profiles {

// The forwarding engine has 128 queues for profiles; the first takes what has no profile.
constexpr uint32_t kLastId = 127;

std::vector<st_qos_profile> g_profiles;  // in order of their ids

void reset() {
    g_profiles.clear();
}

/// The first profile whose id leaves a lower one free, or the end.
auto first_gap() {
    uint32_t expected = 0;
    return std::ranges::find_if(
        g_profiles, [&expected](const st_qos_profile& held) { return held.id != ++expected; });
}

// Two rates of 0 would be a profile that lets nothing through.
int32_t profile_set(st_qos_profile& profile) {
    if (profile.id != 0 || (profile.first_rate == 0 && profile.second_rate == 0)) return -1;
    if (g_profiles.size() == kLastId) return -1;
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

constexpr ServiceCall kCalls[] = {
    service_call<profile_set>(kQosProfileSet),
    service_call<profile_del>(kQosProfileDel),
};

ServiceRegistration g_registration(
    {.name = "qos_profiles", .calls = kCalls, .print = print, .told = print});

}  // namespace platform::platformd::qos_profiles
