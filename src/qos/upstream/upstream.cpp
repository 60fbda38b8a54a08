#include "core/rows.h"
#include "qos/flows/direction.h"
#include "qos/qos.h"
#include "records/qos.h"

namespace appcfg::qos {
namespace {

bool read_settings(Settings& settings) {
    Basic basic{};
    if (!read_row(basic_table, 0, basic)) return false;
    settings = {.enabled = basic.ucQosEnable,
                .plan = basic.ucPlan,
                .dscp_mark = basic.ucEnableDscpMark,
                .tc_mark = basic.ucEnableTcMark,
                .mark_8021p = basic.ucEnable8021p};
    return true;
}

}  // namespace

constinit FlowState g_ui{};

constinit const Direction upstream{
    .classifications = clf_table,
    .types = clf_type_table,
    .queues = queue_table,
    .state = g_ui,
    .read_settings = read_settings,
    .set_queue = igdCmQosQueueAttrSet,
    .queue_port = platform::kWanPort,
    .flow_code = platform::kUpstream,
    .distribution = "igdCmQosClassificationAttrDistribute",
    .remarking = "igdCmQosQueueRemark",
};

}  // namespace appcfg::qos
