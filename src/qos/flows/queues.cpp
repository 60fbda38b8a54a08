#include "qos/flows/queues.h"

#include <numeric>

#include "core/bounded.h"
#include "core/record_log.h"
#include "core/result.h"
#include "qos/flows/distribution.h"
#include "qos/flows/lookup.h"
#include "records/qos.h"

using namespace platform;

namespace appcfg::qos {
namespace {

using QueueRecord = zu_sal_qos_queue_attr_s;

/// Weight of every queue where the highest priority goes first.
constexpr uint32_t kStrictWeight = 7;

QueueRecord record_of(const Direction& direction, const Queue& queue, uint32_t em_plan) {
    QueueRecord record;
    zero(record);
    record.ui_queue = queue.ucQueueIndex;
    record.ui_priority = queue.ucQueueIndex;
    record.ui_enable = queue.ucEnable;
    record.ui_weight = queue.ulWeight;
    record.ui_rate = queue.ulRate;
    record.ui_port = direction.queue_port;
    record.em_plan = em_plan;
    return record;
}

void log_queue(const char* operation, const char* title, const QueueRecord& record) {
    QOS_LOG_AS(operation, "\n[%s][%d %d %d %d %d %d]\n\r\n", title, record.ui_queue,
               record.ui_priority, record.em_plan, record.ui_enable, record.ui_weight,
               record.ui_rate);
}

/// Calls `each(queue)` for every stored queue but the one at `position`.
template <class Each>
void for_each_other(const Direction& direction, int32_t position, Each each) {
    for_each_row(direction.queues, [&](const Queue& queue, int32_t at) {
        if (at != position) each(queue);
    });
}

/// Gives all queues the defaults of the plan in which the highest priority goes first.
void RecoveryQueueToPQDefault(const Direction& direction, int32_t position, QueueRecord& own) {
    const char* operation = __func__;
    for_each_other(direction, position, [&](const Queue& queue) {
        QueueRecord record = record_of(direction, queue, kPlanPriority);
        record.ui_weight = kStrictWeight;
        log_queue(operation, "PQ QueueSet", record);
        if (call(kQosQueueSet, record) != 0) QOS_LOG_AS(operation, "error\n\r\n");
    });
    own.ui_weight = kStrictWeight;
    own.em_plan = kPlanPriority;
}

/// The greatest common divisor of the enabled queues' weights, with `own` in the place of the row
/// at `position`; 1 if none is enabled.
uint32_t common_divisor(const Direction& direction, const Queue& own, int32_t position) {
    bool any = false;
    uint32_t divisor = 1;
    for_each_row(direction.queues, [&](const Queue& stored, int32_t at) {
        const Queue& queue = at == position ? own : stored;
        if (queue.ucEnable != 1) return;
        divisor = any ? std::gcd(divisor, queue.ulWeight) : queue.ulWeight;
        any = true;
    });
    return divisor;
}

uint32_t reduced(uint32_t weight, uint32_t divisor) {
    return divisor != 0 ? weight / divisor : weight;
}

/// Shares among the enabled queues follow from all of their weights, so all are sent anew.
void share_by_weight(const Direction& direction, const Queue& queue, int32_t position,
                     QueueRecord& own, const char* operation) {
    const uint32_t divisor = common_divisor(direction, queue, position);
    for_each_other(direction, position, [&](const Queue& other) {
        if (other.ucEnable != 1) return;
        QueueRecord record = record_of(direction, other, kPlanWeight);
        record.ui_weight = reduced(other.ulWeight, divisor);
        log_queue(operation, "WRR Queue_Set", record);
        static_cast<void>(call(kQosQueueSet, record));
    });
    own.ui_weight = reduced(own.ui_weight, divisor);
    own.em_plan = kPlanWeight;
    direction.state.queue_common_divisor = divisor;
    QOS_LOG_AS(operation, "g_ui_queue_common_divisor [%d].\r\n\r\n", divisor);
}

bool leaves_strict_plan(const FlowState& state) {
    return state.plan_change_flag == 1 && state.plan_old == kPlanStrict &&
           state.plan_new != kPlanStrict;
}

bool enters_strict_plan(const FlowState& state) {
    return state.plan_change_flag == 1 && state.plan_old != kPlanStrict &&
           state.plan_new == kPlanStrict;
}

/// Completes the queue's own record as its plan, or the change of plan, calls for it.
void apply_plan(const Direction& direction, uint32_t plan, const Queue& queue, int32_t position,
                QueueRecord& own, const char* operation) {
    const FlowState& state = direction.state;
    if (enters_strict_plan(state)) return RecoveryQueueToPQDefault(direction, position, own);
    const bool leaves = leaves_strict_plan(state);
    const uint32_t effective = leaves ? state.plan_new : plan;
    if (effective == kPlanWeighted)
        return share_by_weight(direction, queue, position, own, operation);
    own.em_plan = kPlanPriority;
    if (effective == kPlanStrict) own.ui_priority = queue.ucPriority;
}

int32_t send_queue(QueueRecord& record, const char* operation) {
    LOG_RECORD(kQosLog, operation, "st_qos_queue_attr", kQosQueueLayout, record);
    log_queue(operation, "Last QueueSet", record);
    const int32_t lRet = call(kQosQueueSet, record);
    QOS_LOG_AS(operation, "Call zu_qos_qm_queue_set() with lRet [%08x].\r\n\r\n",
               static_cast<uint32_t>(lRet));
    return lRet;
}

bool is_stored_already(const Direction& direction, const Queue& request, const Queue& row) {
    return request.ucEnable == row.ucEnable && request.ucPriority == row.ucPriority &&
           request.ulWeight == row.ulWeight && request.ulRate == row.ulRate &&
           direction.state.queue_init_flag != 1 && direction.state.plan_change_flag != 1;
}

/// The queue's number no longer follows from its priority: all its flows are told so.
int32_t remark_after_strict_plan(const Direction& direction, const Queue& row, int32_t position,
                                 int32_t lRet) {
    Clf clf{};
    if (find_classification_of_queue(direction, row.ucQueueIndex, clf) < 0)
        return IGD_CM_OPERATE_FAIL;
    for_each_type_of(direction, clf.ucClfIndex, [&](const ClfType& type, int32_t) {
        lRet = remark_flow(direction, row, position, type, Remark::Disabled);
        return 0;
    });
    return write_row(direction.queues, position, row) ? lRet : IGD_CM_OPERATE_FAIL;
}

int32_t remark_under_strict_plan(const Direction& direction, const Queue& row, int32_t position,
                                 bool enable_given, int32_t lRet) {
    Clf clf{};
    if (find_classification_of_queue(direction, row.ucQueueIndex, clf) < 0)
        return write_row(direction.queues, position, row) ? 0 : IGD_CM_OPERATE_FAIL;
    const bool enabled = row.ucEnable == 1;
    for_each_type_of(direction, clf.ucClfIndex, [&](const ClfType& type, int32_t) {
        if (enable_given && (enabled || direction.state.queue_init_flag != 1))
            lRet = remark_flow(direction, row, position, type,
                               enabled ? Remark::Enabled : Remark::Disabled);
        else if (!enable_given && enabled)
            lRet = remark_flow(direction, row, position, type, Remark::Changed);
        return 0;
    });
    const bool stored = write_row(direction.queues, position, row);
    direction.state.remark_priority_flag = 0;
    return stored ? lRet : IGD_CM_OPERATE_FAIL;
}

}  // namespace

int32_t set_queue(const Direction& direction, const Queue& request, const char* operation) {
    if (request.ucQueueIndex > kQueues || !selected_in_range(direction.queues, request))
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Queue row{};
    const int32_t position = find_queue(direction, request.ucQueueIndex, row);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    if (is_stored_already(direction, request, row)) {
        QOS_LOG_AS(operation, "same comfiguration\r\n\r\n");
        return 0;
    }
    merge_selected(direction.queues, row, request);
    Settings settings{};
    if (!direction.read_settings(settings)) return IGD_CM_OPERATE_FAIL;
    QOS_LOG_AS(operation, "QosBasicEntry.ucPlan=%d\t\n\r\n", settings.plan);
    if (settings.plan != kPlanRated) row.ulRate = 0;
    // A change of plan is over for this queue as soon as it is applied; what it was decides the
    // rest.
    const bool leaves = leaves_strict_plan(direction.state);
    QueueRecord record = record_of(direction, row, kPlanPriority);
    apply_plan(direction, settings.plan, row, position, record, operation);
    const int32_t lRet = send_queue(record, operation);
    if (leaves) return remark_after_strict_plan(direction, row, position, lRet);
    if (settings.plan != kPlanStrict)
        return write_row(direction.queues, position, row) ? lRet : IGD_CM_OPERATE_FAIL;
    return remark_under_strict_plan(direction, row, position, request.ulBitmap & Queue::Enable,
                                    lRet);
}

int32_t remark_flow(const Direction& direction, const Queue& row, int32_t position,
                    const ClfType& type, Remark how) {
    const char* operation = direction.remarking;
    uint32_t& by_priority = direction.state.remark_priority_flag;
    QOS_LOG_AS(operation, "action[%d].\r\n\r\n", static_cast<int>(how));
    if (how != Remark::Enabled) by_priority = 1;
    int32_t lRet = distribute(direction, type, kDeleteFlow);
    if (lRet == 0)
        write_row(direction.queues, position, row);
    else
        log_refusal(operation, "delete", lRet);
    by_priority = how != Remark::Disabled;
    lRet = distribute(direction, type, kAddFlow);
    if (lRet != 0) log_refusal(operation, "add", lRet);
    return lRet;
}

int32_t init_queues(const Direction& direction, const char* count_name, const char* operation) {
    QOS_LOG_AS(operation,
               "############ QoS Module Queue Attribute Table Init Start ############\r\n\r\n");
    direction.state.queue_init_flag = 1;
    direction.state.queue_common_divisor = 0;
    QOS_LOG_AS(operation, "Queue %s [%d].\r\n\r\n", count_name, count_rows(direction.queues));
    for_each_row(direction.queues,
                 [&](Queue& queue, int32_t) { direction.set_queue(&queue, sizeof(queue)); });
    QOS_LOG_AS(operation,
               "############ QoS Module Queue Attribute Table Init End ############\r\n\r\n");
    direction.state.queue_init_flag = 0;
    return 0;
}

void follow_plan_change(const Direction& direction) {
    for_each_row(direction.queues, [&](Queue& queue, int32_t) {
        if (queue.ucEnable != 0) direction.set_queue(&queue, sizeof(queue));
    });
    direction.state.plan_change_flag = 0;
}

}  // namespace appcfg::qos
