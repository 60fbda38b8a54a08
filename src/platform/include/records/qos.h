#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/include/records/netif.h"
#include "platform/include/zu_call.h"

// The platform records of QoS in both directions. All numbers are in host byte order; rates and
// bandwidths are in the platform's own units.

/// The upstream's switch and mode.
struct zu_sal_qos_uplink_s {
    uint32_t em_mode[11];  ///< kinds of traffic that are served, in order; unused ones 0
    uint32_t ui_enable;
    uint32_t ui_force_weight_en;
    uint32_t ui_band_width;  ///< 0 while QoS is off
    uint32_t ui_tcp_session;
    uint8_t reserved60[36];
};

/// The downlink's switch.
struct st_downlink_qos {
    uint32_t ui_enable;
    uint32_t ui_force_weight_en;
    uint32_t ui_band_width;  ///< 0 while QoS is off
    uint8_t reserved12[28];
};

/// One queue of one direction.
struct zu_sal_qos_queue_attr_s {
    uint32_t ui_queue;  ///< from 1
    uint32_t ui_enable;
    uint32_t reserved8;
    uint32_t ui_port;  ///< upstream: kWanPort; downlink: 0
    uint32_t reserved16;
    uint32_t ui_weight;
    uint32_t ui_priority;
    uint8_t reserved28[12];
    uint32_t em_plan;
    uint32_t ui_rate;
    uint32_t reserved48;
};

/// What traffic must look like. Texts are for addresses, numbers for everything else; both ends of
/// a range are included.
struct zu_sal_qos_flow_class_s {
    uint32_t em_type;  ///< member of the packet, in the platform's own numbering
    char uc_min[64];
    char uc_max[64];
    uint32_t ui_min;
    uint32_t ui_max;
    uint32_t reserved140;
    uint32_t ui_proto_list;  ///< protocols, a bit each
};

/// Where traffic of one class goes, and how it is marked on its way.
struct zu_sal_qos_flow_queue_s {
    uint32_t reserved0;
    uint32_t ui_enable;  ///< 1: add, 0: remove
    uint32_t reserved8;
    uint32_t em_kind;       ///< kFlowKind
    uint32_t em_dscp_mark;  ///< kMarkOff, kMarkOn
    uint32_t ui_dscp;
    uint32_t em_tc_mark;  ///< kMarkOff, kMarkOn
    uint32_t ui_tc;
    uint32_t em_8021p_mark;  ///< 0 to 2
    uint32_t ui_8021p;
    uint32_t reserved40;
    uint32_t ui_mask;       ///< of the class's value; only for the type that has one
    uint32_t ui_queue;      ///< the queue, or its priority
    uint32_t em_direction;  ///< kUpstream, kDownlink
    zu_sal_qos_flow_class_s st_flow_class[1];
    uint8_t reserved204[472];  ///< further classes; this gateway sends one a record
};

/// Binds an application, by its name, to a queue.
struct zu_sal_qos_apps_queue_s {
    char ac_app_name[64];
    uint32_t ui_queue;
};

/// One ready-made rule.
struct zu_qos_item_attr_s {
    uint32_t index;
    char name[32];
    uint32_t dscp_mark;     ///< 1: `dscp` is written into packets
    uint32_t remark_8021p;  ///< 1: `vlan8021p` is
    uint32_t priority;
    uint32_t dscp;
    uint32_t vlan8021p;
    char protocol[32];
    char srcIp[48];
    char srcMask[48];
    char srcPort[8];
    char dstIp[48];
    char dstMask[48];
    char dstPort[8];
    char srcMac[20];
    char dstMac[20];
};

/// The limit of one port, one VLAN, one range of addresses. A rate of 0 lifts it.
struct st_qos_port_limit {
    uint32_t valid;  ///< 1: the entry counts
    uint32_t port;   ///< a bit as in `alport` of an interface
    double rate;
};

struct st_qos_vlan_limit {
    uint32_t valid;
    uint32_t vlan;
    double rate;
};

struct st_qos_ip_limit {
    uint32_t valid;
    char start[40];
    char end[40];
    uint8_t reserved84[4];
    double rate;
};

/// All limits of both directions; only the tables of the directions' modes are filled.
struct zu_sal_qos_dslimited_s {
    uint32_t em_mode_up;
    uint32_t em_mode_down;
    st_qos_port_limit st_port_up[10];
    st_qos_port_limit st_port_down[10];
    st_qos_vlan_limit st_vlan_up[10];
    st_qos_vlan_limit st_vlan_down[10];
    st_qos_ip_limit st_ip_up[10];
    st_qos_ip_limit st_ip_down[10];
};

struct st_interface_speed {
    char ac_interface[64];
    uint32_t ui_speed[2];
};

/// A rate that one or several hosts share.
struct st_qos_profile {
    uint32_t id;  ///< set: 0, and out: the queue that the platform has assigned; del: that queue
    uint32_t first_rate;
    uint32_t second_rate;
    uint8_t reserved12[8];
};

/// How remote management is recognised.
struct st_tr069_identify {
    uint32_t ui_enable;
    uint32_t ui_port;  ///< TCP port of the management server
    uint32_t reserved8;
};

struct st_voip_flow {
    uint32_t em_kind;
    uint32_t reserved4;
    uint32_t ui_dscp;
};

/// How voice is recognised.
struct st_voip_identify {
    st_voip_flow st_ctrl;
    st_voip_flow st_data[4];
};

struct st_smart_qos_profile {
    uint32_t rate_limit;
};

namespace platform {

/// Kinds of traffic (`em_mode`).
inline constexpr uint32_t kTrafficTr069 = 0x01;
inline constexpr uint32_t kTrafficVoip = 0x02;
inline constexpr uint32_t kTrafficUnknown = 0x04;
inline constexpr uint32_t kTrafficOther = 0x08;
inline constexpr uint32_t kTrafficIptv = 0x10;
inline constexpr uint32_t kTrafficOtt = 0x20;

/// How queues take turns (`em_plan`): by priority, or by weight.
inline constexpr uint32_t kPlanPriority = 1;
inline constexpr uint32_t kPlanWeight = 2;

/// Whether packets are marked.
inline constexpr uint32_t kMarkOff = 0;
inline constexpr uint32_t kMarkOn = 2;

/// The only kind of flow record that the gateway sends (`em_kind`).
inline constexpr uint32_t kFlowKind = 4;

/// Directions of a flow record (`em_direction`).
inline constexpr uint32_t kUpstream = 1;
inline constexpr uint32_t kDownlink = 2;

/// What a direction's limits are bound to (`em_mode_up`, `em_mode_down`).
inline constexpr uint32_t kLimitNone = 0;
inline constexpr uint32_t kLimitPorts = 1;
inline constexpr uint32_t kLimitVlans = 2;
inline constexpr uint32_t kLimitAddresses = 3;

/// Parts of a voice call (`em_kind`).
inline constexpr uint32_t kVoipControl = 1;
inline constexpr uint32_t kVoipData = 2;

inline constexpr RecordField kQosUplinkFields[] = {
    RECORD_FIELD(zu_sal_qos_uplink_s, em_mode, 0),
    RECORD_FIELD(zu_sal_qos_uplink_s, ui_enable, 44),
    RECORD_FIELD(zu_sal_qos_uplink_s, ui_force_weight_en, 48),
    RECORD_FIELD(zu_sal_qos_uplink_s, ui_band_width, 52),
    RECORD_FIELD(zu_sal_qos_uplink_s, ui_tcp_session, 56),
    RECORD_PADDING(zu_sal_qos_uplink_s, reserved60, 60),
};
inline constexpr auto kQosUplinkLayout = RECORD_LAYOUT(zu_sal_qos_uplink_s, 96, kQosUplinkFields);

inline constexpr RecordField kQosDownlinkFields[] = {
    RECORD_FIELD(st_downlink_qos, ui_enable, 0),
    RECORD_FIELD(st_downlink_qos, ui_force_weight_en, 4),
    RECORD_FIELD(st_downlink_qos, ui_band_width, 8),
    RECORD_PADDING(st_downlink_qos, reserved12, 12),
};
inline constexpr auto kQosDownlinkLayout = RECORD_LAYOUT(st_downlink_qos, 40, kQosDownlinkFields);

inline constexpr RecordField kQosQueueFields[] = {
    RECORD_FIELD(zu_sal_qos_queue_attr_s, ui_queue, 0),
    RECORD_FIELD(zu_sal_qos_queue_attr_s, ui_enable, 4),
    RECORD_PADDING(zu_sal_qos_queue_attr_s, reserved8, 8),
    RECORD_FIELD(zu_sal_qos_queue_attr_s, ui_port, 12),
    RECORD_PADDING(zu_sal_qos_queue_attr_s, reserved16, 16),
    RECORD_FIELD(zu_sal_qos_queue_attr_s, ui_weight, 20),
    RECORD_FIELD(zu_sal_qos_queue_attr_s, ui_priority, 24),
    RECORD_PADDING(zu_sal_qos_queue_attr_s, reserved28, 28),
    RECORD_FIELD(zu_sal_qos_queue_attr_s, em_plan, 40),
    RECORD_FIELD(zu_sal_qos_queue_attr_s, ui_rate, 44),
    RECORD_PADDING(zu_sal_qos_queue_attr_s, reserved48, 48),
};
inline constexpr auto kQosQueueLayout = RECORD_LAYOUT(zu_sal_qos_queue_attr_s, 52, kQosQueueFields);

inline constexpr RecordField kFlowClassFields[] = {
    RECORD_FIELD(zu_sal_qos_flow_class_s, em_type, 0),
    RECORD_FIELD(zu_sal_qos_flow_class_s, uc_min, 4),
    RECORD_FIELD(zu_sal_qos_flow_class_s, uc_max, 68),
    RECORD_FIELD(zu_sal_qos_flow_class_s, ui_min, 132),
    RECORD_FIELD(zu_sal_qos_flow_class_s, ui_max, 136),
    RECORD_PADDING(zu_sal_qos_flow_class_s, reserved140, 140),
    RECORD_FIELD(zu_sal_qos_flow_class_s, ui_proto_list, 144),
};
inline constexpr auto kFlowClassLayout =
    RECORD_LAYOUT(zu_sal_qos_flow_class_s, 148, kFlowClassFields);

inline constexpr RecordField kFlowQueueFields[] = {
    RECORD_PADDING(zu_sal_qos_flow_queue_s, reserved0, 0),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, ui_enable, 4),
    RECORD_PADDING(zu_sal_qos_flow_queue_s, reserved8, 8),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, em_kind, 12),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, em_dscp_mark, 16),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, ui_dscp, 20),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, em_tc_mark, 24),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, ui_tc, 28),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, em_8021p_mark, 32),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, ui_8021p, 36),
    RECORD_PADDING(zu_sal_qos_flow_queue_s, reserved40, 40),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, ui_mask, 44),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, ui_queue, 48),
    RECORD_FIELD(zu_sal_qos_flow_queue_s, em_direction, 52),
    RECORD_GROUP(zu_sal_qos_flow_queue_s, st_flow_class, 56, kFlowClassLayout),
    RECORD_PADDING(zu_sal_qos_flow_queue_s, reserved204, 204),
};
inline constexpr auto kFlowQueueLayout =
    RECORD_LAYOUT(zu_sal_qos_flow_queue_s, 676, kFlowQueueFields);

inline constexpr RecordField kAppQueueFields[] = {
    RECORD_FIELD(zu_sal_qos_apps_queue_s, ac_app_name, 0),
    RECORD_FIELD(zu_sal_qos_apps_queue_s, ui_queue, 64),
};
inline constexpr auto kAppQueueLayout = RECORD_LAYOUT(zu_sal_qos_apps_queue_s, 68, kAppQueueFields);

inline constexpr RecordField kQosItemFields[] = {
    RECORD_FIELD(zu_qos_item_attr_s, index, 0),
    RECORD_FIELD(zu_qos_item_attr_s, name, 4),
    RECORD_FIELD(zu_qos_item_attr_s, dscp_mark, 36),
    RECORD_FIELD(zu_qos_item_attr_s, remark_8021p, 40),
    RECORD_FIELD(zu_qos_item_attr_s, priority, 44),
    RECORD_FIELD(zu_qos_item_attr_s, dscp, 48),
    RECORD_FIELD(zu_qos_item_attr_s, vlan8021p, 52),
    RECORD_FIELD(zu_qos_item_attr_s, protocol, 56),
    RECORD_FIELD(zu_qos_item_attr_s, srcIp, 88),
    RECORD_FIELD(zu_qos_item_attr_s, srcMask, 136),
    RECORD_FIELD(zu_qos_item_attr_s, srcPort, 184),
    RECORD_FIELD(zu_qos_item_attr_s, dstIp, 192),
    RECORD_FIELD(zu_qos_item_attr_s, dstMask, 240),
    RECORD_FIELD(zu_qos_item_attr_s, dstPort, 288),
    RECORD_FIELD(zu_qos_item_attr_s, srcMac, 296),
    RECORD_FIELD(zu_qos_item_attr_s, dstMac, 316),
};
inline constexpr auto kQosItemLayout = RECORD_LAYOUT(zu_qos_item_attr_s, 336, kQosItemFields);

inline constexpr RecordField kPortLimitFields[] = {
    RECORD_FIELD(st_qos_port_limit, valid, 0),
    RECORD_FIELD(st_qos_port_limit, port, 4),
    RECORD_FIELD(st_qos_port_limit, rate, 8),
};
inline constexpr auto kPortLimitLayout = RECORD_LAYOUT(st_qos_port_limit, 16, kPortLimitFields);

inline constexpr RecordField kVlanLimitFields[] = {
    RECORD_FIELD(st_qos_vlan_limit, valid, 0),
    RECORD_FIELD(st_qos_vlan_limit, vlan, 4),
    RECORD_FIELD(st_qos_vlan_limit, rate, 8),
};
inline constexpr auto kVlanLimitLayout = RECORD_LAYOUT(st_qos_vlan_limit, 16, kVlanLimitFields);

inline constexpr RecordField kIpLimitFields[] = {
    RECORD_FIELD(st_qos_ip_limit, valid, 0), RECORD_FIELD(st_qos_ip_limit, start, 4),
    RECORD_FIELD(st_qos_ip_limit, end, 44),  RECORD_PADDING(st_qos_ip_limit, reserved84, 84),
    RECORD_FIELD(st_qos_ip_limit, rate, 88),
};
inline constexpr auto kIpLimitLayout = RECORD_LAYOUT(st_qos_ip_limit, 96, kIpLimitFields);

inline constexpr RecordField kFlowLimitFields[] = {
    RECORD_FIELD(zu_sal_qos_dslimited_s, em_mode_up, 0),
    RECORD_FIELD(zu_sal_qos_dslimited_s, em_mode_down, 4),
    RECORD_GROUP(zu_sal_qos_dslimited_s, st_port_up, 8, kPortLimitLayout),
    RECORD_GROUP(zu_sal_qos_dslimited_s, st_port_down, 168, kPortLimitLayout),
    RECORD_GROUP(zu_sal_qos_dslimited_s, st_vlan_up, 328, kVlanLimitLayout),
    RECORD_GROUP(zu_sal_qos_dslimited_s, st_vlan_down, 488, kVlanLimitLayout),
    RECORD_GROUP(zu_sal_qos_dslimited_s, st_ip_up, 648, kIpLimitLayout),
    RECORD_GROUP(zu_sal_qos_dslimited_s, st_ip_down, 1608, kIpLimitLayout),
};
inline constexpr auto kFlowLimitLayout =
    RECORD_LAYOUT(zu_sal_qos_dslimited_s, 2568, kFlowLimitFields);

inline constexpr RecordField kInterfaceSpeedFields[] = {
    RECORD_FIELD(st_interface_speed, ac_interface, 0),
    RECORD_FIELD(st_interface_speed, ui_speed, 64),
};
inline constexpr auto kInterfaceSpeedLayout =
    RECORD_LAYOUT(st_interface_speed, 72, kInterfaceSpeedFields);

inline constexpr RecordField kQosProfileFields[] = {
    RECORD_FIELD(st_qos_profile, id, 0),
    RECORD_FIELD(st_qos_profile, first_rate, 4),
    RECORD_FIELD(st_qos_profile, second_rate, 8),
    RECORD_PADDING(st_qos_profile, reserved12, 12),
};
inline constexpr auto kQosProfileLayout = RECORD_LAYOUT(st_qos_profile, 20, kQosProfileFields);

inline constexpr RecordField kTr069IdentifyFields[] = {
    RECORD_FIELD(st_tr069_identify, ui_enable, 0),
    RECORD_FIELD(st_tr069_identify, ui_port, 4),
    RECORD_PADDING(st_tr069_identify, reserved8, 8),
};
inline constexpr auto kTr069IdentifyLayout =
    RECORD_LAYOUT(st_tr069_identify, 12, kTr069IdentifyFields);

inline constexpr RecordField kVoipFlowFields[] = {
    RECORD_FIELD(st_voip_flow, em_kind, 0),
    RECORD_PADDING(st_voip_flow, reserved4, 4),
    RECORD_FIELD(st_voip_flow, ui_dscp, 8),
};
inline constexpr auto kVoipFlowLayout = RECORD_LAYOUT(st_voip_flow, 12, kVoipFlowFields);

inline constexpr RecordField kVoipIdentifyFields[] = {
    RECORD_GROUP(st_voip_identify, st_ctrl, 0, kVoipFlowLayout),
    RECORD_GROUP(st_voip_identify, st_data, 12, kVoipFlowLayout),
};
inline constexpr auto kVoipIdentifyLayout =
    RECORD_LAYOUT(st_voip_identify, 60, kVoipIdentifyFields);

inline constexpr RecordField kSmartQosProfileFields[] = {
    RECORD_FIELD(st_smart_qos_profile, rate_limit, 0),
};
inline constexpr auto kSmartQosProfileLayout =
    RECORD_LAYOUT(st_smart_qos_profile, 4, kSmartQosProfileFields);

/// Switches a direction and sets its bandwidth.
inline constexpr Call kQosUplinkSet{"zu_zu_qos_qm_set_call", kQosUplinkLayout};
inline constexpr Call kQosDownlinkSet{"zu_zu_downlink_qos_qm_set_call", kQosDownlinkLayout};
/// Sets one queue of either direction.
inline constexpr Call kQosQueueSet{"zu_zu_qos_qm_queue_set_call", kQosQueueLayout};
/// Adds or removes one flow of either direction.
inline constexpr Call kQosFlowSet{"zu_zu_qos_qm_classification_set_call", kFlowQueueLayout};
/// Binds an application to a queue, and takes it out again.
inline constexpr Call kQosAppSet{"zu_zu_qos_apps_queue_set_call", kAppQueueLayout};
inline constexpr Call kQosAppDel{"zu_zu_qos_apps_queue_del_call", kAppQueueLayout};
/// Puts a ready-made rule into force, and takes it back.
inline constexpr Call kQosItemSet{"zu_zu_qos_item_attr_set_call", kQosItemLayout};
inline constexpr Call kQosItemDel{"zu_zu_qos_item_attr_del_call", kQosItemLayout};
/// Sets all limits anew.
inline constexpr Call kQosFlowLimitSet{"zu_zu_qos_dslimited_set_call", kFlowLimitLayout};
/// Sets, and forgets, the speeds of an interface.
inline constexpr Call kInterfaceSpeedSet{"zu_zu_qos_interface_speed_attr_set_call",
                                         kInterfaceSpeedLayout};
inline constexpr Call kInterfaceSpeedDel{"zu_zu_qos_interface_speed_attr_del_call",
                                         kInterfaceSpeedLayout};
/// Makes a profile and assigns a queue to it, which comes back in `id`; gives that queue back.
inline constexpr Call kQosProfileSet{"zu_zu_qos_set_profile_call", kQosProfileLayout};
inline constexpr Call kQosProfileDel{"zu_zu_qos_del_profile_call", kQosProfileLayout};
/// Tell how remote management and voice are recognised.
inline constexpr Call kTr069IdentifySet{"zu_zu_qos_tr069_identify_set_call", kTr069IdentifyLayout};
inline constexpr Call kVoipIdentifySet{"zu_zu_qos_voip_identify_set_call", kVoipIdentifyLayout};
/// Set the one rate of a direction.
inline constexpr Call kSmartQosUpstreamSet{"zu_zu_smart_qos_upstream_qid_set_call",
                                           kSmartQosProfileLayout};
inline constexpr Call kSmartQosDownstreamSet{"zu_zu_smart_qos_downstream_qid_set_call",
                                             kSmartQosProfileLayout};

}  // namespace platform
