#include "qos/downlink/downlink.h"

#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "qos/flows/classifications.h"
#include "qos/flows/distribution.h"
#include "qos/flows/queues.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;

namespace {

bool read_settings(Settings& settings) {
    DownlinkBasic basic{};
    if (!read_row(downlink_basic_table, 0, basic)) return false;
    settings = {.enabled = basic.qos_enable,
                .plan = basic.plan,
                .dscp_mark = basic.enable_dscp_mark,
                .tc_mark = 0,
                .mark_8021p = basic.enable_8021p};
    return true;
}

/// The row that a record from another process stands for. An index too large for a row is none.
Clf row_of(const IgdDownlinkQosClfTab& request) {
    Clf row{};
    row.ucClfIndex =
        request.index <= kMostClassifications ? static_cast<uint8_t>(request.index) : UINT8_MAX;
    row.class_queue_enable = request.enable;
    row.ucQueueNum = request.queue;
    row.ucDscpMarkValue = request.dscp_mark_value;
    row.uc8021pValue = request.value_8021p;
    row.ulBitmap = request.ulBitmap & Clf::All;
    return row;
}

}  // namespace

constinit FlowState appcfg::qos::g_downlink{};

constinit const Direction appcfg::qos::downlink{
    .classifications = downlink_clf_table,
    .types = downlink_clf_type_table,
    .queues = downlink_queue_table,
    .state = g_downlink,
    .read_settings = read_settings,
    .set_queue = igd_cm_downlink_qos_queue_set,
    .queue_port = 0,
    .flow_code = platform::kDownlink,
};

int32_t igd_cm_downlink_qos_clf_add(IgdDownlinkQosClfTab* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Clf row = row_of(*request);
    const int32_t result = add_classification(downlink, row, __func__);
    if (result == 0) request->index = row.ucClfIndex;
    return result;
}

int32_t igd_cm_downlink_qos_clf_del(IgdDownlinkQosClfTab* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return delete_classification(downlink, row_of(*request), __func__);
}

int32_t igd_cm_downlink_qos_clf_set(IgdDownlinkQosClfSetTab* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return set_classification(downlink, row_of(request->clf), __func__);
}

int32_t igd_cm_downlink_qos_clf_type_add(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return add_type(downlink, *request, __func__);
}

int32_t igd_cm_downlink_qos_clf_type_del(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return delete_type(downlink, *request, __func__);
}

int32_t igd_cm_downlink_qos_clf_type_set(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return set_type(downlink, *request, __func__);
}

int32_t igd_cm_downlink_clf_distribute(const ClfType& type, uint32_t action) {
    return distribute(downlink, type, action, __func__);
}

int32_t igd_cm_downlink_qos_queue_set(Queue* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return set_queue(downlink, *request, __func__);
}

int32_t igd_cm_downlink_qos_queue_init() {
    return init_queues(downlink, "total_num", __func__);
}
