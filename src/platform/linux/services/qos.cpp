#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/linux/platformd/service.h"
#include "platform/linux/services/netif_devices.h"
#include "platform/linux/services/qos_limits.h"
#include "platform/linux/services/qos_profiles.h"
#include "platform/linux/services/qos_rules.h"
#include "platform/linux/services/qos_shape.h"
#include "platform/linux/services/qos_state.h"
#include "platform/linux/services/qos_text.h"

// What is not held needs no removing: the service is set up anew by itself, and while QoS is off it
// holds nothing, yet the daemon's rows can still be changed and deleted.

namespace platform::platformd::qos {

constexpr size_t kMaxFlows = 256;
constexpr size_t kMaxNamed = 64;

constexpr uint32_t kHighestPort = 65535;

Qos g_qos{};

void reset() {
    g_qos = {};
    qos_profiles::reset();
}

bool is_switch(uint32_t value) {
    return value <= 1;
}

int32_t uplink_set(zu_sal_qos_uplink_s& uplink) {
    if (!is_switch(uplink.ui_enable) || !is_switch(uplink.ui_force_weight_en)) return -1;
    g_qos.uplink = uplink;
    return 0;
}

int32_t downlink_set(st_downlink_qos& downlink) {
    if (!is_switch(downlink.ui_enable) || !is_switch(downlink.ui_force_weight_en)) return -1;
    g_qos.downlink = downlink;
    return 0;
}

int32_t queue_set(zu_sal_qos_queue_attr_s& queue) {
    if (queue.ui_queue == 0 || queue.ui_queue > kQueues || !is_switch(queue.ui_enable)) return -1;
    if (queue.em_plan != kPlanPriority && queue.em_plan != kPlanWeight) return -1;
    const auto direction =
        std::ranges::find(g_qos.directions, queue.ui_port, &Direction::queue_port);
    if (direction == std::end(g_qos.directions)) return -1;
    direction->queues[queue.ui_queue - 1] = queue;
    return 0;
}

bool is_mark(uint32_t mark) {
    return mark == kMarkOff || mark == kMarkOn;
}

bool is_flow(const zu_sal_qos_flow_queue_s& flow) {
    return is_switch(flow.ui_enable) && flow.em_kind == kFlowKind && is_mark(flow.em_dscp_mark) &&
           is_mark(flow.em_tc_mark) && flow.em_8021p_mark <= 2;
}

/// How sure it is that a request means a flow that is held; 0: it means another. The queue may
/// differ: a flow that was added by its queue's number may be taken out by that queue's priority.
int likeness(const zu_sal_qos_flow_queue_s& held, const zu_sal_qos_flow_queue_s& asked) {
    if (held.ui_mask != asked.ui_mask) return 0;
    if (memcmp(held.st_flow_class, asked.st_flow_class, sizeof(held.st_flow_class)) != 0) return 0;
    if (held.ui_queue != asked.ui_queue) return 1;
    return memcmp(&held, &asked, sizeof(held)) == 0 ? 3 : 2;
}

int32_t remove_flow(Direction& direction, zu_sal_qos_flow_queue_s asked) {
    asked.ui_enable = 1;
    const auto alike = [&asked](const zu_sal_qos_flow_queue_s& held) {
        return likeness(held, asked);
    };
    const auto found = std::ranges::max_element(direction.flows, {}, alike);
    if (found != direction.flows.end() && alike(*found) > 0) direction.flows.erase(found);
    return 0;
}

// Equal flows are kept as often as they are added: two rows may ask for the same, and when one of
// them goes, the other still wants its own.
int32_t flow_set(zu_sal_qos_flow_queue_s& flow) {
    const auto direction =
        std::ranges::find(g_qos.directions, flow.em_direction, &Direction::flow_direction);
    if (direction == std::end(g_qos.directions) || !is_flow(flow)) return -1;
    if (flow.ui_enable == 0) return remove_flow(*direction, flow);
    if (direction->flows.size() == kMaxFlows) return -1;
    direction->flows.push_back(flow);
    return 0;
}

/// Puts a record under its key, in the place of the one there; fails when there is no room.
template <class Map>
int32_t put(Map& map, size_t most, const typename Map::key_type& key,
            const typename Map::mapped_type& value) {
    if (map.size() >= most && !map.contains(key)) return -1;
    map.insert_or_assign(key, value);
    return 0;
}

int32_t app_set(zu_sal_qos_apps_queue_s& app) {
    const auto name = text_of(app.ac_app_name);
    return name.empty() ? -1 : put(g_qos.apps, kMaxNamed, name, app.ui_queue);
}

// An application that has gone to another queue since stays there.
int32_t app_del(zu_sal_qos_apps_queue_s& app) {
    const auto found = g_qos.apps.find(text_of(app.ac_app_name));
    if (found != g_qos.apps.end() && found->second == app.ui_queue) g_qos.apps.erase(found);
    return 0;
}

int32_t item_set(zu_qos_item_attr_s& item) {
    if (!is_switch(item.dscp_mark) || !is_switch(item.remark_8021p)) return -1;
    return put(g_qos.items, kMaxNamed, item.index, item);
}

int32_t item_del(zu_qos_item_attr_s& item) {
    g_qos.items.erase(item.index);
    return 0;
}

/// A rate comes from a text of the configuration, which may say anything that is a number to C.
template <class Limit, size_t Count>
bool are_rates(const Limit (&limits)[Count]) {
    return std::ranges::all_of(
        limits, [](double rate) { return std::isfinite(rate) && rate >= 0; }, &Limit::rate);
}

int32_t limits_set(zu_sal_qos_dslimited_s& limits) {
    if (limits.em_mode_up > kLimitAddresses || limits.em_mode_down > kLimitAddresses) return -1;
    if (!are_rates(limits.st_port_up) || !are_rates(limits.st_port_down)) return -1;
    if (!are_rates(limits.st_vlan_up) || !are_rates(limits.st_vlan_down)) return -1;
    if (!are_rates(limits.st_ip_up) || !are_rates(limits.st_ip_down)) return -1;
    g_qos.limits = limits;
    return 0;
}

int32_t speed_set(st_interface_speed& speed) {
    const auto name = text_of(speed.ac_interface);
    return name.empty() ? -1 : put(g_qos.speeds, kMaxNamed, name, speed);
}

int32_t speed_del(st_interface_speed& speed) {
    g_qos.speeds.erase(text_of(speed.ac_interface));
    return 0;
}

int32_t tr069_set(st_tr069_identify& tr069) {
    if (!is_switch(tr069.ui_enable) || tr069.ui_port > kHighestPort) return -1;
    g_qos.tr069 = tr069;
    return 0;
}

int32_t voip_set(st_voip_identify& voip) {
    if (voip.st_ctrl.em_kind != kVoipControl || voip.st_data[0].em_kind != kVoipData) return -1;
    g_qos.voip = voip;
    return 0;
}

int32_t smart_up_set(st_smart_qos_profile& profile) {
    g_qos.up().smart = profile;
    return 0;
}

int32_t smart_down_set(st_smart_qos_profile& profile) {
    g_qos.down().smart = profile;
    return 0;
}

void print_direction(std::string& out, const Direction& direction) {
    for (const auto& queue : direction.queues)
        if (queue.ui_queue != 0) print_queue(out, direction.name, queue);
    for (const auto& flow : direction.flows)
        print_flow(out, direction.name, flow);
    if (direction.smart.rate_limit != 0)
        state_line(out, "%s smart rate=%u", direction.name, direction.smart.rate_limit);
}

bool is_wan(const std::string& name) {
    return std::ranges::count(netif::wan_devices(), name) > 0;
}

constexpr Devices kDevices{netif::lan_port, netif::wlan, is_wan};

void print_left_out(std::string& out) {
    enforce::RuleText rules;
    LeftOut left_out;
    render(g_qos, kDevices, rules, left_out);
    for (const auto& line : left_out)
        state_line(out, "%s%s", kNotEnforced, line.c_str());
}

void print_records(std::string& out, const Qos& qos) {
    print_uplink(out, qos.uplink);
    const auto& down = qos.downlink;
    state_line(out, "downlink enable=%u bandwidth=%u force_weight=%u", down.ui_enable,
               down.ui_band_width, down.ui_force_weight_en);
    for (const auto& direction : qos.directions)
        print_direction(out, direction);
    for (const auto& [name, queue] : qos.apps)
        print_app(out, name, queue);
    for (const auto& [index, item] : qos.items)
        state_record(out, "item", kQosItemLayout, &item);
    print_limits(out, qos.limits);
    for (const auto& [name, speed] : qos.speeds)
        state_record(out, "interface", kInterfaceSpeedLayout, &speed);
    if (qos.tr069.ui_enable == 1) state_line(out, "tr069 port=%u", qos.tr069.ui_port);
    if (qos.voip.st_ctrl.em_kind == kVoipControl)
        state_line(out, "voip control_dscp=%u data_dscp=%u", qos.voip.st_ctrl.ui_dscp,
                   qos.voip.st_data[0].ui_dscp);
}

// Whose turn it is by priority has no use for a weight.
void leave_out_unused(zu_sal_qos_queue_attr_s& queue) {
    if (queue.ui_enable == 0)
        queue = {};
    else if (queue.em_plan == kPlanPriority)
        queue.ui_weight = 0;
}

void leave_out_queues(Direction& direction) {
    for (auto& queue : direction.queues)
        queue = {};
}

// A direction that is off has no queues, whatever was said of them.
void told(std::string& out) {
    auto qos = g_qos;
    for (auto& direction : qos.directions)
        for (auto& queue : direction.queues)
            leave_out_unused(queue);
    if (qos.uplink.ui_enable == 0) {
        qos.uplink = {};
        leave_out_queues(qos.up());
    }
    if (qos.downlink.ui_enable == 0) {
        qos.downlink = {};
        leave_out_queues(qos.down());
    }
    print_records(out, qos);
}

// What is enforced depends on the devices, too.
void print(std::string& out) {
    print_records(out, g_qos);
    print_left_out(out);
}

void render(enforce::RuleText& text) {
    LeftOut said;
    render(g_qos, kDevices, text, said);
}

void shape(enforce::Trees& trees) {
    shape(g_qos, kDevices, trees);
    shape_limits(g_qos.limits, kDevices, trees);
}

/// Adds a call unless it would change nothing in an empty state.
template <class Record>
void add_setting(CallList& calls, const Call<Record>& call, const Record& record) {
    const Record empty{};
    if (memcmp(&record, &empty, sizeof(record)) != 0) calls.add(call, record);
}

void repeat_direction(CallList& calls, const Direction& direction) {
    for (const auto& queue : direction.queues)
        add_setting(calls, kQosQueueSet, queue);
    for (const auto& flow : direction.flows)
        calls.add(kQosFlowSet, flow);
}

void repeat_named(CallList& calls) {
    for (const auto& [name, queue] : g_qos.apps) {
        zu_sal_qos_apps_queue_s app{};
        name.copy(app.ac_app_name, sizeof(app.ac_app_name));
        app.ui_queue = queue;
        calls.add(kQosAppSet, app);
    }
    for (const auto& [index, item] : g_qos.items)
        calls.add(kQosItemSet, item);
    for (const auto& [name, speed] : g_qos.speeds)
        calls.add(kInterfaceSpeedSet, speed);
}

void repeat(CallList& calls) {
    add_setting(calls, kTr069IdentifySet, g_qos.tr069);
    add_setting(calls, kVoipIdentifySet, g_qos.voip);
    add_setting(calls, kQosUplinkSet, g_qos.uplink);
    add_setting(calls, kQosDownlinkSet, g_qos.downlink);
    for (const auto& direction : g_qos.directions)
        repeat_direction(calls, direction);
    repeat_named(calls);
    add_setting(calls, kQosFlowLimitSet, g_qos.limits);
    add_setting(calls, kSmartQosUpstreamSet, g_qos.up().smart);
    add_setting(calls, kSmartQosDownstreamSet, g_qos.down().smart);
}

constexpr enforce::OwnedChain kChains[] = {kFrames,    kQueuedUp,    kQueuedDown,
                                           kLimitedUp, kFromGateway, kLimitedDown};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};

constexpr ServiceCall kCalls[] = {
    service_call<uplink_set>(kQosUplinkSet),
    service_call<downlink_set>(kQosDownlinkSet),
    service_call<queue_set>(kQosQueueSet),
    service_call<flow_set>(kQosFlowSet),
    service_call<app_set>(kQosAppSet),
    service_call<app_del>(kQosAppDel),
    service_call<item_set>(kQosItemSet),
    service_call<item_del>(kQosItemDel),
    service_call<limits_set>(kQosFlowLimitSet),
    service_call<speed_set>(kInterfaceSpeedSet),
    service_call<speed_del>(kInterfaceSpeedDel),
    service_call<tr069_set>(kTr069IdentifySet),
    service_call<voip_set>(kVoipIdentifySet),
    service_call<smart_up_set>(kSmartQosUpstreamSet),
    service_call<smart_down_set>(kSmartQosDownstreamSet),
};

ServiceRegistration g_registration({.name = "qos",
                                    .init = "zu_qos_init",
                                    .reset = reset,
                                    .calls = kCalls,
                                    .print = print,
                                    .told = told,
                                    .rules = &kRules,
                                    .shape = shape,
                                    .repeat = repeat});

}  // namespace platform::platformd::qos
