#include "platform/linux/enforce/shape.h"

#include <vector>

#include "platform/linux/enforce/tc.h"
#include "platform/linux/platformd/service.h"
#include "platform/linux/services/netif_devices.h"

namespace platform::platformd::enforce {

namespace {

Trees g_trees;
std::vector<std::string> g_wan_devices;
bool g_in_force;

}  // namespace

Trees wanted_trees() {
    Trees trees;
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        if (owner->service.shape) owner->service.shape(trees);
    return trees;
}

bool shape_follow(std::string& error) {
    auto trees = wanted_trees();
    auto wan_devices = netif::wan_devices();
    if (g_in_force && trees == g_trees && wan_devices == g_wan_devices) return true;
    g_in_force = tc_apply(trees, error);
    g_trees = std::move(trees);
    g_wan_devices = std::move(wan_devices);
    return g_in_force;
}

void shape_look_again() {
    g_in_force = false;
}

}  // namespace platform::platformd::enforce
