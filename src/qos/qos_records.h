#pragma once

#include <cstddef>
#include <cstdint>

#include "core/table.h"

// The rows of QoS, which are also the records of its operations: front ends reach them over the
// bus, other processes hand them in as they are (docs/ipc_entries.md), so that their layout is
// fixed. The first word of the upstream's records is reserved and 0.

/// The upstream's switch and what the rest of it depends on, one row at position 0.
struct IgdQosBasicAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Mode = 1u << 0,
        Enable = 1u << 1,
        Plan = 1u << 2,
        ForceWeight = 1u << 3,
        DscpMark = 1u << 4,
        Mark8021p = 1u << 5,
        TcMark = 1u << 6,
        Bandwidth = 1u << 7,
        TcpSession = 1u << 8,
        All = (1u << 9) - 1,
    };

    uint32_t ulReserved;
    char aucMode[32];     ///< kinds of traffic served, separated by commas
    uint8_t ucQosEnable;  ///< 0 or 1
    uint8_t ucPlan;       ///< kPlanStrict, kPlanWeighted or kPlanRated
    uint8_t ucEnableForceWeight;
    uint8_t ucEnableDscpMark;
    uint8_t ucEnable8021p;  ///< 0, 1 or 2; 2 also switches the remarking of QoS items on
    uint8_t ucEnableTcMark;
    uint8_t aucReserved[2];
    uint32_t ulBandwidth;   ///< of the uplink, in the platform's unit
    uint32_t ulTcpSession;  ///< 0, stored or to be stored, stands for 61000
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosBasicAttrConfTab) == 56);

/// A classification: into which queue traffic goes and how it is marked.
struct IgdQosClfAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        QueueNum = 1u << 0,
        DscpMarkValue = 1u << 1,
        Value8021p = 1u << 2,
        TcValue = 1u << 3,
        QueueEnable = 1u << 4,
        All = (1u << 5) - 1,
    };

    uint32_t ulReserved;
    uint8_t ucClfIndex;  ///< 1 to 8
    uint8_t aucReserved[2];
    uint8_t class_queue_enable;  ///< 0 or 1
    uint8_t ucQueueNum;          ///< 0 to 8
    uint8_t ucDscpMarkValue;     ///< 0 to 63
    uint8_t uc8021pValue;        ///< 0 to 7
    uint8_t ucTcValue;
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosClfAttrConfTab) == 16);

/// What traffic of a classification looks like: one member of the packet and its values.
struct IgdQosClfTypeAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        ProtocolList = 1u << 0,
        Type = 1u << 1,
        Max = 1u << 2,
        Min = 1u << 3,
        All = (1u << 4) - 1,
    };

    uint32_t ulReserved;
    uint8_t ucClfIndex;
    uint8_t ucTypeIndex;     ///< 1 upwards within the classification
    uint8_t ucProtocolList;  ///< the platform's bits
    uint8_t ucType;          ///< 0 to 15
    char aucMax[128];        ///< of types 1 to 4
    char aucMin[128];
    uint32_t ulMax;  ///< of all others
    uint32_t ulMin;
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosClfTypeAttrConfTab) == 276);

struct IgdQosQueueAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Enable = 1u << 0,
        Priority = 1u << 1,
        Weight = 1u << 2,
        Rate = 1u << 3,
        All = (1u << 4) - 1,
    };

    uint32_t ulReserved;
    uint8_t ucQueueIndex;  ///< 1 to 8
    uint8_t ucEnable;      ///< 0 or 1
    uint8_t ucPriority;
    uint8_t ucReserved;
    uint32_t ulWeight;
    uint32_t ulRate;  ///< kept only under kPlanRated
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosQueueAttrConfTab) == 20);

/// An application bound to a queue.
struct IgdQosAppAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t { AppName = 1u << 0, ClassQueue = 1u << 1, All = AppName | ClassQueue };

    uint32_t ulReserved;
    uint8_t ucAppIndex;
    uint8_t ucClassQueue;
    uint8_t aucReserved[2];
    char aucAppName[32];
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosAppAttrConfTab) == 44);

/// Limits of rates, one row at position 0: a mode for each direction, a text for each mode. Of a
/// text 31 characters are stored.
struct IgdQosFlowLimitAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        UpLimitMode = 1u << 0,
        DownLimitMode = 1u << 1,
        UpLanLimit = 1u << 2,
        DownLanLimit = 1u << 3,
        UpVlanLimit = 1u << 4,
        DownVlanLimit = 1u << 5,
        UpIpLimit = 1u << 6,
        DownIpLimit = 1u << 7,
        All = (1u << 8) - 1,
    };

    uint32_t ulReserved;
    uint8_t ucUpLimitMode;  ///< 0 none, 1 ports, 2 VLANs, 3 ranges of addresses
    uint8_t ucDownLimitMode;
    uint8_t aucReserved[2];
    char aucUpLanLimit[128];  ///< "LAN1/100,SSID2/50"
    char aucDownLanLimit[128];
    char aucUpVlanLimit[128];  ///< "100/20,200/5"
    char aucDownVlanLimit[128];
    char aucUpIpLimit[128];  ///< "192.168.1.10-192.168.1.20/100"
    char aucDownIpLimit[128];
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosFlowLimitAttrConfTab) == 780);

/// A ready-made rule, which a gateway comes with: what traffic it is for, which queue that goes
/// into and how it is marked. An empty text matches everything.
struct IgdQosItemAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Name = 1u << 0,
        Priority = 1u << 1,
        Dscp = 1u << 2,
        Vlan8021p = 1u << 3,
        Protocol = 1u << 4,
        SrcIp = 1u << 5,
        SrcMask = 1u << 6,
        SrcPort = 1u << 7,
        DstIp = 1u << 8,
        DstMask = 1u << 9,
        DstPort = 1u << 10,
        SrcMac = 1u << 11,
        DstMac = 1u << 12,
        All = (1u << 13) - 1,
    };

    uint32_t ulReserved;
    uint32_t index;  ///< 1 to 16
    char name[32];
    uint32_t priority;   ///< 0 to 8, its queue
    uint32_t dscp;       ///< 0 to 63, written into packets while QoS marks them
    uint32_t vlan8021p;  ///< 0 to 7, likewise
    char protocol[32];
    char srcIp[48];
    char srcMask[48];
    char srcPort[8];
    char dstIp[48];
    char dstMask[48];
    char dstPort[8];
    char srcMac[20];
    char dstMac[20];
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdQosItemAttrConfTab) == 336);

/// How fast an interface is, which a gateway comes with, too.
struct IgdInterfaceSpeedAttrCfgTab {
    uint32_t ulReserved;
    char aucInterfaceName[64];
    uint32_t ulUpSpeed;  ///< the platform's unit
    uint32_t ulDownSpeed;
};
static_assert(sizeof(IgdInterfaceSpeedAttrCfgTab) == 76);

/// The downlink's switch and what the rest of it depends on, one row at position 0.
struct IgdDownlinkQosBasicAttrTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Enable = 1u << 0,
        Plan = 1u << 1,
        ForceWeight = 1u << 2,
        DscpMark = 1u << 3,
        Bandwidth = 1u << 4,
        Mark8021p = 1u << 5,
        All = (1u << 6) - 1,
    };

    uint32_t ulReserved;
    uint8_t qos_enable;  ///< 0 or 1
    uint8_t plan;        ///< kPlanStrict or kPlanWeighted
    uint8_t enable_force_weight;
    uint8_t enable_dscp_mark;
    uint32_t bandwidth;
    uint8_t enable_8021p;  ///< 0, 1 or 2
    uint8_t aucReserved[3];
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdDownlinkQosBasicAttrTab) == 20);

/// The smart profile of one direction, one row at position 0.
struct IgdSmartQosProfileTab {
    uint32_t rate_limit;
};

/// A LAN host with limited rates.
struct IgdLanHostsNameAttrTab {
    uint32_t up_bandwidth;  ///< 0: no limit; the platform's unit
    uint32_t dn_bandwidth;
    int32_t up_qid;  ///< queue of the profile that the platform has given; 0 or less: none
    int32_t dn_qid;
    char macstr[20];  ///< the host's MAC address as text, in either case
};
static_assert(sizeof(IgdLanHostsNameAttrTab) == 36);

inline constexpr uint32_t IGD_QOS_BASIC_ATTR_TAB = 535;
inline constexpr uint32_t IGD_QOS_CLF_ATTR_TAB = 536;
inline constexpr uint32_t IGD_QOS_CLF_TYPE_ATTR_TAB = 537;
inline constexpr uint32_t IGD_QOS_APP_ATTR_TAB = 538;
inline constexpr uint32_t IGD_QOS_QUEUE_ATTR_TAB = 539;
inline constexpr uint32_t IGD_DOWNLINK_QOS_BASIC_ATTR_TAB = 540;
inline constexpr uint32_t IGD_DOWNLINK_QOS_CLF_ATTR_TAB = 541;
inline constexpr uint32_t IGD_DOWNLINK_QOS_CLF_TYPE_ATTR_TAB = 542;
inline constexpr uint32_t IGD_DOWNLINK_QOS_QUEUE_ATTR_TAB = 543;
inline constexpr uint32_t IGD_QOS_FLOW_LIMIT_ATTR_TAB = 545;
inline constexpr uint32_t IGD_QOS_ITEM_ATTR_TAB = 547;
inline constexpr uint32_t IGD_INTERFACE_SPEED_ATTR_CFG_TAB = 548;
inline constexpr uint32_t IGD_LAN_HOSTS_NAME_ATTR_TAB = 439;
inline constexpr uint32_t IGD_SMART_QOS_UPSTREAM_PROFILE_TAB = 802;
inline constexpr uint32_t IGD_SMART_QOS_DOWNSTREAM_PROFILE_TAB = 803;

namespace appcfg::qos {

using Basic = IgdQosBasicAttrConfTab;
using Clf = IgdQosClfAttrConfTab;
using ClfType = IgdQosClfTypeAttrConfTab;
using Queue = IgdQosQueueAttrConfTab;
using App = IgdQosAppAttrConfTab;
using FlowLimit = IgdQosFlowLimitAttrConfTab;
using Item = IgdQosItemAttrConfTab;
using InterfaceSpeed = IgdInterfaceSpeedAttrCfgTab;
using DownlinkBasic = IgdDownlinkQosBasicAttrTab;
using SmartProfile = IgdSmartQosProfileTab;
using LanHost = IgdLanHostsNameAttrTab;

/// How the queues take turns (`ucPlan`): the highest priority first, by weight, or by priority with
/// a rate for each queue.
inline constexpr uint8_t kPlanStrict = 1;
inline constexpr uint8_t kPlanWeighted = 2;
inline constexpr uint8_t kPlanRated = 3;

inline constexpr uint8_t kQueues = 8;
inline constexpr uint8_t kMostClassifications = 8;
inline constexpr uint8_t kMostTypes = 4;  ///< of one classification
inline constexpr uint8_t kMostApps = 8;
inline constexpr uint32_t kMostItems = 16;

extern const TableOf<Basic> basic_table;
extern const TableOf<Clf> clf_table;
extern const TableOf<ClfType> clf_type_table;
extern const TableOf<App> app_table;
extern const TableOf<Queue> queue_table;
extern const TableOf<DownlinkBasic> downlink_basic_table;
extern const TableOf<Clf> downlink_clf_table;
extern const TableOf<ClfType> downlink_clf_type_table;
extern const TableOf<Queue> downlink_queue_table;
extern const TableOf<FlowLimit> flow_limit_table;
extern const TableOf<Item> item_table;
extern const TableOf<InterfaceSpeed> interface_speed_table;
extern const TableOf<SmartProfile> smart_upstream_table;
extern const TableOf<SmartProfile> smart_downstream_table;
extern const TableOf<LanHost> lan_host_table;

}  // namespace appcfg::qos
