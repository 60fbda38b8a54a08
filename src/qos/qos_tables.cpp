#include "qos/qos.h"
#include "qos/qos_records.h"
#include "qos/startup/settings.h"

namespace appcfg::qos {
namespace {

constexpr char kPackage[] = "app_qos";
/// What a gateway comes with and no method changes.
constexpr char kProvisionPackage[] = "qos_provision";
constexpr uint32_t kTcpSessions = 61000;

constexpr Column kBasicColumns[] = {
    COLUMN(Basic, ulReserved).unstored(),
    COLUMN(Basic, aucMode).bit(Basic::Mode),
    COLUMN(Basic, ucQosEnable).bit(Basic::Enable).at_most(1),
    COLUMN(Basic, ucPlan).bit(Basic::Plan).at_least(kPlanStrict).at_most(kPlanRated),
    COLUMN(Basic, ucEnableForceWeight).bit(Basic::ForceWeight).at_most(1),
    COLUMN(Basic, ucEnableDscpMark).bit(Basic::DscpMark).at_most(1),
    COLUMN(Basic, ucEnable8021p).bit(Basic::Mark8021p).at_most(2),
    COLUMN(Basic, ucEnableTcMark).bit(Basic::TcMark).at_most(1),
    FILLER(Basic, aucReserved),
    COLUMN(Basic, ulBandwidth).bit(Basic::Bandwidth),
    COLUMN(Basic, ulTcpSession).bit(Basic::TcpSession).or_else(kTcpSessions),
};

constexpr Column kClfColumns[] = {
    COLUMN(Clf, ulReserved).unstored(),
    COLUMN(Clf, ucClfIndex),
    FILLER(Clf, aucReserved),
    COLUMN(Clf, class_queue_enable).bit(Clf::QueueEnable).at_most(1),
    COLUMN(Clf, ucQueueNum).bit(Clf::QueueNum).at_most(kQueues),
    COLUMN(Clf, ucDscpMarkValue).bit(Clf::DscpMarkValue).at_most(63),
    COLUMN(Clf, uc8021pValue).bit(Clf::Value8021p).at_most(7),
    COLUMN(Clf, ucTcValue).bit(Clf::TcValue),
};

/// Values are taken over as texts or as numbers, by the type: see flows/types.cpp.
constexpr Column kClfTypeColumns[] = {
    COLUMN(ClfType, ulReserved).unstored(),
    COLUMN(ClfType, ucClfIndex),
    COLUMN(ClfType, ucTypeIndex),
    COLUMN(ClfType, ucProtocolList),
    COLUMN(ClfType, ucType).bit(ClfType::Type).at_most(15),
    COLUMN(ClfType, aucMax),
    COLUMN(ClfType, aucMin),
    COLUMN(ClfType, ulMax),
    COLUMN(ClfType, ulMin),
};

constexpr Column kQueueColumns[] = {
    COLUMN(Queue, ulReserved).unstored(),
    COLUMN(Queue, ucQueueIndex),
    COLUMN(Queue, ucEnable).bit(Queue::Enable).at_most(1),
    COLUMN(Queue, ucPriority).bit(Queue::Priority),
    FILLER(Queue, ucReserved),
    COLUMN(Queue, ulWeight).bit(Queue::Weight),
    COLUMN(Queue, ulRate).bit(Queue::Rate),
};

constexpr Column kAppColumns[] = {
    COLUMN(App, ulReserved).unstored(),
    COLUMN(App, ucAppIndex),
    COLUMN(App, ucClassQueue).bit(App::ClassQueue),
    FILLER(App, aucReserved),
    COLUMN(App, aucAppName).bit(App::AppName),
};

/// Characters that the package keeps of a limit's text.
constexpr uint16_t kStoredLimit = 31;

constexpr Column kFlowLimitColumns[] = {
    COLUMN(FlowLimit, ulReserved).unstored(),
    COLUMN(FlowLimit, ucUpLimitMode).bit(FlowLimit::UpLimitMode).at_most(3),
    COLUMN(FlowLimit, ucDownLimitMode).bit(FlowLimit::DownLimitMode).at_most(3),
    FILLER(FlowLimit, aucReserved),
    COLUMN(FlowLimit, aucUpLanLimit).keeps(kStoredLimit),
    COLUMN(FlowLimit, aucDownLanLimit).keeps(kStoredLimit),
    COLUMN(FlowLimit, aucUpVlanLimit).keeps(kStoredLimit),
    COLUMN(FlowLimit, aucDownVlanLimit).keeps(kStoredLimit),
    COLUMN(FlowLimit, aucUpIpLimit).keeps(kStoredLimit),
    COLUMN(FlowLimit, aucDownIpLimit).keeps(kStoredLimit),
};

constexpr Column kItemColumns[] = {
    COLUMN(Item, ulReserved).unstored(),
    COLUMN(Item, index),
    COLUMN(Item, name).bit(Item::Name),
    COLUMN(Item, priority).bit(Item::Priority).at_most(kQueues),
    COLUMN(Item, dscp).bit(Item::Dscp).at_most(63),
    COLUMN(Item, vlan8021p).bit(Item::Vlan8021p).at_most(7),
    COLUMN(Item, protocol).bit(Item::Protocol),
    COLUMN(Item, srcIp).bit(Item::SrcIp),
    COLUMN(Item, srcMask).bit(Item::SrcMask),
    COLUMN(Item, srcPort).bit(Item::SrcPort),
    COLUMN(Item, dstIp).bit(Item::DstIp),
    COLUMN(Item, dstMask).bit(Item::DstMask),
    COLUMN(Item, dstPort).bit(Item::DstPort),
    COLUMN(Item, srcMac).bit(Item::SrcMac),
    COLUMN(Item, dstMac).bit(Item::DstMac),
};

constexpr Column kInterfaceSpeedColumns[] = {
    COLUMN(InterfaceSpeed, ulReserved).unstored(),
    COLUMN(InterfaceSpeed, aucInterfaceName),
    COLUMN(InterfaceSpeed, ulUpSpeed),
    COLUMN(InterfaceSpeed, ulDownSpeed),
};

constexpr Column kDownlinkBasicColumns[] = {
    COLUMN(DownlinkBasic, ulReserved).unstored(),
    COLUMN(DownlinkBasic, qos_enable).bit(DownlinkBasic::Enable).at_most(1),
    COLUMN(DownlinkBasic, plan)
        .bit(DownlinkBasic::Plan)
        .at_least(kPlanStrict)
        .at_most(kPlanWeighted),
    COLUMN(DownlinkBasic, enable_force_weight).bit(DownlinkBasic::ForceWeight).at_most(1),
    COLUMN(DownlinkBasic, enable_dscp_mark).bit(DownlinkBasic::DscpMark).at_most(1),
    COLUMN(DownlinkBasic, bandwidth).bit(DownlinkBasic::Bandwidth),
    COLUMN(DownlinkBasic, enable_8021p).bit(DownlinkBasic::Mark8021p).at_most(2),
    FILLER(DownlinkBasic, aucReserved),
};

constexpr Column kSmartProfileColumns[] = {COLUMN(SmartProfile, rate_limit)};

constexpr Column kLanHostColumns[] = {
    COLUMN(LanHost, up_bandwidth), COLUMN(LanHost, dn_bandwidth), COLUMN(LanHost, up_qid),
    COLUMN(LanHost, dn_qid),       COLUMN(LanHost, macstr),
};

}  // namespace

constexpr TableOf<Basic> basic_table = make_table<Basic>(
    IGD_QOS_BASIC_ATTR_TAB, kPackage, "IGD_QOS_BASIC_ATTR_TAB", kBasicColumns, Basic::All);

constexpr TableOf<Clf> clf_table =
    make_table<Clf>(IGD_QOS_CLF_ATTR_TAB, kPackage, "IGD_QOS_CLF_ATTR_TAB", kClfColumns, Clf::All);

constexpr TableOf<ClfType> clf_type_table =
    make_table<ClfType>(IGD_QOS_CLF_TYPE_ATTR_TAB, kPackage, "IGD_QOS_CLF_TYPE_ATTR_TAB",
                        kClfTypeColumns, ClfType::All);

constexpr TableOf<App> app_table =
    make_table<App>(IGD_QOS_APP_ATTR_TAB, kPackage, "IGD_QOS_APP_ATTR_TAB", kAppColumns, App::All);

constexpr TableOf<Queue> queue_table = make_table<Queue>(
    IGD_QOS_QUEUE_ATTR_TAB, kPackage, "IGD_QOS_QUEUE_ATTR_TAB", kQueueColumns, Queue::All);

constexpr TableOf<FlowLimit> flow_limit_table =
    make_table<FlowLimit>(IGD_QOS_FLOW_LIMIT_ATTR_TAB, kPackage, "IGD_QOS_FLOW_LIMIT_ATTR_TAB",
                          kFlowLimitColumns, FlowLimit::All);

constexpr TableOf<Item> item_table = make_table<Item>(
    IGD_QOS_ITEM_ATTR_TAB, kProvisionPackage, "IGD_QOS_ITEM_ATTR_TAB", kItemColumns, Item::All);

constexpr TableOf<InterfaceSpeed> interface_speed_table =
    make_table<InterfaceSpeed>(IGD_INTERFACE_SPEED_ATTR_CFG_TAB, kProvisionPackage,
                               "IGD_INTERFACE_SPEED_ATTR_CFG_TAB", kInterfaceSpeedColumns);

constexpr TableOf<DownlinkBasic> downlink_basic_table = make_table<DownlinkBasic>(
    IGD_DOWNLINK_QOS_BASIC_ATTR_TAB, kPackage, "IGD_DOWNLINK_QOS_BASIC_ATTR_TAB",
    kDownlinkBasicColumns, DownlinkBasic::All);

// Rows of the downlink are those of the upstream, in sections of their own.
constexpr TableOf<Clf> downlink_clf_table =
    make_table<Clf>(IGD_DOWNLINK_QOS_CLF_ATTR_TAB, kPackage, "IGD_DOWNLINK_QOS_CLF_ATTR_TAB",
                    kClfColumns, Clf::All);

constexpr TableOf<ClfType> downlink_clf_type_table =
    make_table<ClfType>(IGD_DOWNLINK_QOS_CLF_TYPE_ATTR_TAB, kPackage,
                        "IGD_DOWNLINK_QOS_CLF_TYPE_ATTR_TAB", kClfTypeColumns, ClfType::All);

constexpr TableOf<Queue> downlink_queue_table =
    make_table<Queue>(IGD_DOWNLINK_QOS_QUEUE_ATTR_TAB, kPackage, "IGD_DOWNLINK_QOS_QUEUE_ATTR_TAB",
                      kQueueColumns, Queue::All);

constexpr TableOf<SmartProfile> smart_upstream_table =
    make_table<SmartProfile>(IGD_SMART_QOS_UPSTREAM_PROFILE_TAB, kPackage,
                             "IGD_SMART_QOS_UPSTREAM_PROFILE_TAB", kSmartProfileColumns);

constexpr TableOf<SmartProfile> smart_downstream_table =
    make_table<SmartProfile>(IGD_SMART_QOS_DOWNSTREAM_PROFILE_TAB, kPackage,
                             "IGD_SMART_QOS_DOWNSTREAM_PROFILE_TAB", kSmartProfileColumns);

constexpr TableOf<LanHost> lan_host_table = make_table<LanHost>(
    IGD_LAN_HOSTS_NAME_ATTR_TAB, kPackage, "IGD_LAN_HOSTS_NAME_ATTR_TAB", kLanHostColumns);

int32_t register_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<basic_table>,
        list_table<app_table>,
        list_table<queue_table>,
        list_table<clf_table>,
        list_table<clf_type_table>,
        single_row_table<flow_limit_table>,
        list_table<lan_host_table>,
        single_row_table<smart_upstream_table>,
        single_row_table<smart_downstream_table>,
        single_row_table<downlink_basic_table>,
        list_table<downlink_clf_table>,
        list_table<downlink_clf_type_table>,
        list_table<downlink_queue_table>,
        unserved_table(544),
        unserved_table(546),
        list_table<item_table>,
        list_table<interface_speed_table>,
    };
    if (mib_chain_register(kDescriptors, std::size(kDescriptors)) != 0) return -1;
    return register_settings();
}

}  // namespace appcfg::qos
