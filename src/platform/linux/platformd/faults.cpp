#include "platform/linux/platformd/faults.h"

#include <functional>
#include <map>
#include <string>

namespace platform::platformd {

namespace {

std::map<std::string, Fault, std::less<>> g_faults;

}  // namespace

void arm_fault(std::string_view name, const Fault& fault) {
    g_faults.insert_or_assign(std::string(name), fault);
}

void disarm_all_faults() {
    g_faults.clear();
}

bool take_fault(std::string_view name, Fault& fault) {
    const auto found = g_faults.find(name);
    if (found == g_faults.end()) return false;
    fault = found->second;
    if (fault.count > 1)
        --found->second.count;
    else
        g_faults.erase(found);
    return fault.count != 0;
}

}  // namespace platform::platformd
