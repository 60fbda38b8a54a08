#include "core/bus_object.h"
#include "qos/lanhost/interfaces.h"
#include "qos/lanhost/lanhost.h"
#include "qos/qos.h"
#include "qos/qos_requests.h"
#include "qos/smart/coupling.h"
#include "qos/startup/startup.h"

namespace appcfg::qos {
namespace {

constexpr Argument kInterfaceArguments[] = {
    ARGUMENT(InterfaceNames, wan_root),
    ARGUMENT(InterfaceNames, wan_name),
};

constexpr Argument kLanHostArguments[] = {
    ARGUMENT(LanHost, macstr).named("macaddr").or_empty(),
    ARGUMENT(LanHost, up_bandwidth),
    ARGUMENT(LanHost, dn_bandwidth),
};

constexpr Argument kBasicArguments[] = {
    ARGUMENT(BasicRequest, basic.aucMode).named("aucMode"),
    ARGUMENT(BasicRequest, basic.ucQosEnable).named("ucQosEnable"),
    ARGUMENT(BasicRequest, basic.ucPlan).named("ucPlan"),
    ARGUMENT(BasicRequest, basic.ucEnableForceWeight).named("ucEnableForceWeight"),
    ARGUMENT(BasicRequest, basic.ucEnableDscpMark).named("ucEnableDscpMark"),
    ARGUMENT(BasicRequest, basic.ucEnable8021p).named("ucEnable8021p"),
    ARGUMENT(BasicRequest, ucEnableTcMark),
    ARGUMENT(BasicRequest, basic.ulBandwidth).named("ulBandwidth"),
    ARGUMENT(BasicRequest, basic.ulTcpSession).named("ulTcpSession"),
};

constexpr Argument kQueueArguments[] = {
    ARGUMENT(Queue, ucQueueIndex), ARGUMENT(Queue, ucEnable), ARGUMENT(Queue, ucPriority),
    ARGUMENT(Queue, ulWeight),     ARGUMENT(Queue, ulRate),
};

constexpr Argument kClfArguments[] = {
    ARGUMENT(Clf, ucClfIndex),      ARGUMENT(Clf, class_queue_enable), ARGUMENT(Clf, ucQueueNum),
    ARGUMENT(Clf, ucDscpMarkValue), ARGUMENT(Clf, uc8021pValue),       ARGUMENT(Clf, ucTcValue),
};

constexpr Argument kClfTypeArguments[] = {
    ARGUMENT(ClfType, ucClfIndex),     ARGUMENT(ClfType, ucTypeIndex),
    ARGUMENT(ClfType, ucProtocolList), ARGUMENT(ClfType, ucType),
    ARGUMENT(ClfType, aucMax),         ARGUMENT(ClfType, aucMin),
    ARGUMENT(ClfType, ulMax),          ARGUMENT(ClfType, ulMin),
};
/// The numbers may be left out.
constexpr size_t kOptionalTypeArguments = 2;

constexpr Argument kFlowLimitArguments[] = {
    ARGUMENT(FlowLimit, ucUpLimitMode),  ARGUMENT(FlowLimit, ucDownLimitMode),
    ARGUMENT(FlowLimit, aucUpLanLimit),  ARGUMENT(FlowLimit, aucDownLanLimit),
    ARGUMENT(FlowLimit, aucUpVlanLimit), ARGUMENT(FlowLimit, aucDownVlanLimit),
    ARGUMENT(FlowLimit, aucUpIpLimit),   ARGUMENT(FlowLimit, aucDownIpLimit),
};

constexpr Argument kDownlinkArguments[] = {
    ARGUMENT(DownlinkBasic, qos_enable),          ARGUMENT(DownlinkBasic, plan),
    ARGUMENT(DownlinkBasic, enable_force_weight), ARGUMENT(DownlinkBasic, enable_dscp_mark),
    ARGUMENT(DownlinkBasic, bandwidth),           ARGUMENT(DownlinkBasic, enable_8021p),
};

constexpr Argument kProfileArguments[] = {ARGUMENT(SmartProfile, rate_limit)};

/// A method on types. A missing argument is told by the name that the classifications' methods have
/// at its place, and a type that could not be deleted by the Set's text: front ends compare both.
template <auto Operation>
consteval Method type_method(const char* name, const char* failure = nullptr) {
    return method<Operation>(name, kClfTypeArguments, ClfType::All, failure)
        .with_optional(kOptionalTypeArguments)
        .naming_missing_as(kClfArguments);
}

constexpr Method kMethods[] = {
    method<libqos_init>("libqos_init"),
    method<init_interfaces>("intf_init", kInterfaceArguments),
    method<lanhost_bw_set>("lanhost_bw_set", kLanHostArguments),
    method<lanhost_bw_add>("lanhost_bw_add", kLanHostArguments),
    method<lanhost_bw_del>("lanhost_bw_del", kLanHostArguments),
    method<set_basic>("qos_basic_attr_set", kBasicArguments),
    method<igdCmQosQueueAttrSet>("qos_queue_attr_set", kQueueArguments, Queue::All,
                                 "igdCmQosQueueAttrSet error"),
    method<add_and_set_classification>("qos_clf_attr_add", kClfArguments, Clf::All),
    method<igdCmQosClfAttrSet>("qos_clf_attr_set", kClfArguments, Clf::All, kClfSetFailure),
    method<igdCmQosClfAttrDel>("qos_clf_attr_del", kClfArguments, Clf::All,
                               "igdCmQosClfAttrDel error"),
    type_method<add_and_set_type>("qos_clf_type_attr_add"),
    type_method<igdCmQosClfTypeAttrSet>("qos_clf_type_attr_set", kTypeSetFailure),
    type_method<igdCmQosClfTypeAttrDel>("qos_clf_type_attr_del", kTypeSetFailure),
    method<igdCmQosFlowLimitAttrSet>("qos_ratelimit_set", kFlowLimitArguments, FlowLimit::All,
                                     "igdCmQosFlowLimitAttrSet error")
        .silent_on_success(),
    method<igd_cm_downlink_qos_basic_set>("qos_downlink_basic_attr_set", kDownlinkArguments,
                                          DownlinkBasic::All,
                                          "igd_cm_downlink_qos_basic_set error"),
    method<set_upstream_profile>("smart_qos_upstream_profile_set", kProfileArguments),
    method<set_downstream_profile>("smart_qos_downstream_profile_set", kProfileArguments),
};

BUS_OBJECT(object, "app_qos", kMethods);

}  // namespace

ubus_object* bus_object() {
    return &object;
}

}  // namespace appcfg::qos
