#include "core/log.h"
#include "core/rows.h"
#include "qos/downlink/downlink.h"
#include "qos/flows/direction.h"
#include "qos/qos.h"
#include "qos/smart/smart.h"
#include "qos/startup/startup.h"
#include "qos/upstream/interface_speed.h"

using namespace appcfg;
using namespace appcfg::qos;

namespace {

/// Classifications follow from the basic row and from the queues.
void replay_upstream() {
    igdCmQosBasicAttrInit();
    igdCmQosQueueAttrInit();
    igdCmQosAppAttrInit();
    igdCmQosFlowLimitAttrInit();
}

void replay_downlink() {
    DownlinkBasic basic{};
    if (!read_row(downlink_basic_table, 0, basic) || basic.qos_enable != 1) return;
    igd_cm_downlink_qos_basic_init();
    igd_cm_downlink_qos_queue_init();
}

/// Forgets changes of plan that the platform is about to be told of as a whole.
void forget_changes() {
    g_ui.remark_priority_flag = 0;
    g_ui.plan_change_flag = 0;
    g_ui.plan_old = 0;
    g_ui.plan_new = 0;
}

}  // namespace

int32_t igdCmQosModuleInit() {
    QOS_LOG("############ QoS Module Init Start ############\n\r\n");
    Basic QosBasicEntry{};
    static_cast<void>(read_row(basic_table, 0, QosBasicEntry));
    QOS_LOG("############ QosBasicEntry.ucQosEnable [%d] ############\r\n\r\n",
            QosBasicEntry.ucQosEnable);
    forget_changes();
    identify_tr069(__func__);
    identify_voip(__func__);
    if (QosBasicEntry.ucQosEnable == 1) replay_upstream();
    replay_downlink();
    replay_interface_speeds();
    igd_cm_smart_qos_profile_init();
    QOS_LOG("############ QoS Module Init End ############\n\r\n");
    return 0;
}
