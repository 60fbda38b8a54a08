#pragma once

#include <map>

#include "platform/linux/direct_calls.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"

// What the management ports' flows and the CPU's rate mean in the kernel.

namespace platform::platformd::port_flow {

using Flows = std::map<uint32_t, st_port_flow>;  // by port

struct PortFlow {
    Flows destination;
    Flows source;
    uint32_t cpu_rate;  ///< packets a second; 0: no limit
};

inline constexpr enforce::OwnedChain kCpuIn{enforce::Family::Inet, "cpu_in", "input",
                                            enforce::kCpuInPriority};
inline constexpr enforce::OwnedChain kManagementOut{enforce::Family::Inet, "mgmt_out", "output",
                                                    enforce::kManagementOutPriority};

void render(const PortFlow& state, enforce::RuleText& text);

}  // namespace platform::platformd::port_flow
