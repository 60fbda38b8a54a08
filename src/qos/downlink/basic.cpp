#include "board/factory_mode.h"
#include "core/alternating_row.h"
#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "qos/downlink/downlink.h"
#include "qos/flows/queues.h"
#include "qos/flows/reapplication.h"
#include "qos/qos.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

/// Outside of a start every call counts as a change of plan, whatever the plan: the queues then
/// follow even if only their platform has lost them. True if the flows must not look at the old
/// plan.
bool note_plan_change(const DownlinkBasic& before, const DownlinkBasic& after) {
    if (g_downlink.basic_init_flag != 0 && before.plan == after.plan) return false;
    g_downlink.plan_change_flag = 1;
    g_downlink.plan_old = before.plan;
    g_downlink.plan_new = after.plan;
    return true;
}

int32_t send_switch(Action action, const DownlinkBasic& after, const char* operation) {
    int32_t ret = 0;
    if (action != Action::None) {
        st_downlink_qos record;
        zero(record);
        record.ui_enable = after.qos_enable;
        record.ui_force_weight_en = after.enable_force_weight;
        record.ui_band_width = after.qos_enable == 1 ? after.bandwidth : 0;
        ret = call(kQosDownlinkSet, record);
    }
    QOS_LOG_AS(operation, "ipc_call zu_downlink_qos_qm_set ret is %u\n\r\n",
               static_cast<uint32_t>(ret));
    return ret;
}

struct TypeReport {
    const char* operation;

    void queue(const Queue& queue, bool by_priority) const {
        QOS_LOG_AS(operation, "queue_entry.index [%d].\r\n\r\n", queue.ucQueueIndex);
        if (by_priority)
            QOS_LOG_AS(operation, "g_downlink_remark_pri_flag [%d].\r\n\r\n",
                       g_downlink.remark_priority_flag);
    }
    void refused(Refused kind, int32_t ret) const {
        const bool add = kind == Refused::Add || kind == Refused::AddAfterDelete;
        const bool alone = kind == Refused::Add || kind == Refused::Delete;
        QOS_LOG_AS(operation,
                   "Call igd_cm_downlink_clf_distribute(),%saction [%s] failed with ret "
                   "[%08x].\r\n\r\n",
                   alone ? " \t\t\t\t\t\t" : "\t\t\t\t\t\t ", add ? "add" : "delete",
                   static_cast<uint32_t>(ret));
    }
    void nothing() const { QOS_LOG_AS(operation, " do nothing !\r\n\r\n"); }
};

/// Tells the platform of the change and of all that depends on it; the result of the first of it.
int32_t apply(const DownlinkBasic& before, const DownlinkBasic& after, bool plan_changed,
              AlternatingRow<DownlinkBasic>& row, const char* operation) {
    const Action action = action_between(before.qos_enable, after.qos_enable);
    const int32_t ret = send_switch(action, after, operation);
    // Queues leave the strict plan before the flows are distributed, and enter it after them.
    if (g_downlink.plan_change_flag == 1 && g_downlink.plan_old == kPlanStrict) {
        QOS_LOG_AS(operation, "queue_total_num [%d].\r\n\r\n", count_rows(downlink_queue_table));
        follow_plan_change(downlink);
    }
    if (ret == 0) {
        QOS_LOG_AS(operation, "Get Qos Clf Type Table Num [%d].\r\n\r\n",
                   count_rows(downlink_clf_type_table));
        reapply_types(downlink, action, before.plan, plan_changed, row, TypeReport{operation});
    }
    if (g_downlink.plan_change_flag == 1 && g_downlink.plan_new == kPlanStrict) {
        QOS_LOG_AS(operation, "Queue queue_total_num [%d].\r\n\r\n",
                   count_rows(downlink_queue_table));
        follow_plan_change(downlink);
    }
    return ret;
}

}  // namespace

int32_t igd_cm_downlink_qos_basic_set(DownlinkBasic* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (!selected_in_range(downlink_basic_table, *request)) {
        QOS_LOG("igd_cm_downlink_qos_basic_set para check error, ret is %d\n\r\n",
                IGD_CM_GLOBAL_INPUT_PARA_ERROR);
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    DownlinkBasic before{};
    if (!read_row(downlink_basic_table, 0, before)) {
        QOS_LOG("IGD_DOWNLINK_QOS_BASIC_ATTR_TAB get error\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    DownlinkBasic after = before;
    merge_selected(downlink_basic_table, after, *request);
    const bool plan_changed = note_plan_change(before, after);
    AlternatingRow<DownlinkBasic> row(downlink_basic_table, 0, before, after);
    // What the platform thinks of it shows in the row alone.
    if (apply(before, after, plan_changed, row, __func__) == 0)
        static_cast<void>(row.store_after());
    return 0;
}

int32_t igd_cm_downlink_qos_basic_init() {
    QOS_LOG("############ QoS Module QoS Templete Table Init Start ############\r\n\r\n");
    g_downlink.basic_init_flag = 1;
    DownlinkBasic basic{};
    static_cast<void>(read_row(downlink_basic_table, 0, basic));
    if (board::is_factory_mode()) {
        QOS_LOG("############ factory mode, disable qos############\n\r\n");
        basic.qos_enable = 0;
        basic.ulBitmap = DownlinkBasic::Enable;
    }
    const int32_t ret = igd_cm_downlink_qos_basic_set(&basic, sizeof(basic));
    if (ret != 0)
        QOS_LOG("############ QoS Module QoS Templete Table Init Failed ############\n\r\n");
    QOS_LOG("############ QoS Module QoS Templete Table Init End ############\r\n\r\n");
    g_downlink.basic_init_flag = 0;
    return ret;
}
