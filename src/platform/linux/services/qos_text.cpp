#include "platform/linux/services/qos_text.h"

#include <cstring>
#include <iterator>
#include <string_view>

#include "platform/linux/platformd/service.h"
#include "platform/linux/record_text.h"
#include "platform/linux/services/qos_traffic.h"

namespace platform::platformd::qos {

/// Members of a packet by `em_type`; a class of another type matches nothing.
constexpr const char* kMembers[] = {
    nullptr,
    "source_mac",
    "destination_mac",
    "source_address",
    "destination_address",
    "source_address6",
    "destination_address6",
    "source_port",
    "destination_port",
    "8021p",
    "tos",
    "dscp",
    nullptr,
    "lan_port",
    "vlan",
    "ethertype",
    nullptr,
    "flow_label",
    "traffic_class",
    "all",
};

constexpr uint32_t kAllPackets = 19;

constexpr uint32_t kLanPorts = 4;
constexpr uint32_t kSsids = 4;

std::string number(uint32_t value) {
    return std::to_string(value);
}

void print_uplink(std::string& out, const zu_sal_qos_uplink_s& uplink) {
    std::string traffic;
    for (const auto mode : uplink.em_mode)
        if (mode != 0) traffic += (traffic.empty() ? "" : ",") + traffic_name(mode);
    state_line(out, "upstream enable=%u bandwidth=%u force_weight=%u tcp_session=%u traffic=%s",
               uplink.ui_enable, uplink.ui_band_width, uplink.ui_force_weight_en,
               uplink.ui_tcp_session, traffic.c_str());
}

void print_queue(std::string& out, const char* direction, const zu_sal_qos_queue_attr_s& queue) {
    state_line(out, "%s queue=%u enable=%u plan=%s weight=%u priority=%u rate=%u", direction,
               queue.ui_queue, queue.ui_enable,
               queue.em_plan == kPlanWeight ? "weight" : "priority", queue.ui_weight,
               queue.ui_priority, queue.ui_rate);
}

template <size_t Size>
std::string quoted(const char (&text)[Size]) {
    std::string out;
    append_quoted(out, {text, strnlen(text, Size)});
    return out;
}

/// " LOW-HIGH", or one of them when both are the same.
std::string range_text(const std::string& low, const std::string& high) {
    return " " + low + (low == high ? "" : "-" + high);
}

/// Values are texts or numbers; what has no text is about numbers, even if they are 0.
std::string values_text(const zu_sal_qos_flow_class_s& wanted) {
    std::string text;
    if (wanted.uc_min[0] != '\0' || wanted.uc_max[0] != '\0')
        text = range_text(quoted(wanted.uc_min), quoted(wanted.uc_max));
    if (text.empty() || wanted.ui_min != 0 || wanted.ui_max != 0)
        text += range_text(number(wanted.ui_min), number(wanted.ui_max));
    return text;
}

std::string match_text(const zu_sal_qos_flow_queue_s& flow) {
    const auto& wanted = flow.st_flow_class[0];
    const char* member = wanted.em_type < std::size(kMembers) ? kMembers[wanted.em_type] : nullptr;
    std::string text = member ? member : "type " + number(wanted.em_type);
    if (wanted.em_type != kAllPackets) text += values_text(wanted);
    if (flow.ui_mask != 0) text += " mask " + number(flow.ui_mask);
    if (wanted.ui_proto_list != 0) text += " protocols " + number(wanted.ui_proto_list);
    return text;
}

std::string marks_text(const zu_sal_qos_flow_queue_s& flow) {
    std::string text;
    if (flow.em_dscp_mark != kMarkOff) text += " dscp=" + number(flow.ui_dscp);
    if (flow.em_tc_mark != kMarkOff) text += " tc=" + number(flow.ui_tc);
    if (flow.em_8021p_mark != 0)
        text += " 8021p=" + number(flow.ui_8021p) + "(" + number(flow.em_8021p_mark) + ")";
    return text;
}

void print_flow(std::string& out, const char* direction, const zu_sal_qos_flow_queue_s& flow) {
    state_line(out, "%s flow %s -> queue=%u%s", direction, match_text(flow).c_str(), flow.ui_queue,
               marks_text(flow).c_str());
}

void print_app(std::string& out, const std::string& name, uint32_t queue) {
    std::string text;
    append_quoted(text, name);
    state_line(out, "application %s queue=%u", text.c_str(), queue);
}

std::string limited(const st_qos_port_limit& limit) {
    for (uint32_t i = 0; i < kLanPorts; ++i)
        if (limit.port == ethernet_port(i)) return "port=LAN" + number(i + 1);
    for (uint32_t i = 0; i < kSsids; ++i)
        if (limit.port == kRadio24Port << i) return "port=SSID" + number(i + 1);
    return "port=" + number(limit.port);
}

std::string limited(const st_qos_vlan_limit& limit) {
    return "vlan=" + number(limit.vlan);
}

std::string limited(const st_qos_ip_limit& limit) {
    return "addresses=" + quoted(limit.start) + "-" + quoted(limit.end);
}

template <class Limit, size_t Count>
void print_limits_of(std::string& out, const char* direction, const Limit (&limits)[Count]) {
    for (const auto& limit : limits)
        if (limit.valid == 1 && limit.rate > 0)
            state_line(out, "%s limit %s rate=%.15g", direction, limited(limit).c_str(),
                       limit.rate);
}

void print_limits(std::string& out, const zu_sal_qos_dslimited_s& limits) {
    print_limits_of(out, "upstream", limits.st_port_up);
    print_limits_of(out, "upstream", limits.st_vlan_up);
    print_limits_of(out, "upstream", limits.st_ip_up);
    print_limits_of(out, "downlink", limits.st_port_down);
    print_limits_of(out, "downlink", limits.st_vlan_down);
    print_limits_of(out, "downlink", limits.st_ip_down);
}

}  // namespace platform::platformd::qos
