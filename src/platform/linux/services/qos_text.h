#pragma once

#include <cstdint>
#include <string>

#include "platform/include/records/qos.h"

// QoS as `platformctl state` tells it: the platform's numbers by their names, nothing that says
// nothing.

namespace platform::platformd::qos {

void print_uplink(std::string& out, const zu_sal_qos_uplink_s& uplink);
void print_queue(std::string& out, const char* direction, const zu_sal_qos_queue_attr_s& queue);
/// The class that the flow is for, then where it goes and how it is marked.
void print_flow(std::string& out, const char* direction, const zu_sal_qos_flow_queue_s& flow);
void print_app(std::string& out, const std::string& name, uint32_t queue);
/// The limits in force in each direction.
void print_limits(std::string& out, const zu_sal_qos_dslimited_s& limits);

}  // namespace platform::platformd::qos
