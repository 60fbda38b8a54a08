#include "qos/flows/classifications.h"

#include "core/alternating_row.h"
#include "core/log.h"
#include "core/record_log.h"
#include "core/result.h"
#include "qos/flows/lookup.h"
#include "qos/flows/steering.h"

namespace appcfg::qos {
namespace {

constexpr uint8_t kDefaultQueue = 8;

Steering steer(const Direction& direction, uint8_t queue_index) {
    Queue queue{};
    find_queue(direction, queue_index, queue);
    return steer(direction, queue);
}

/// Deletes a type's flow as the old classification has it and adds it as the new one does. The old
/// row is stored again if the platform refuses either.
int32_t move_flow(const Direction& direction, const ClfType& type, AlternatingRow<Clf>& row,
                  const char* operation) {
    row.show_before();
    int32_t lRet = distribute(direction, type, kDeleteFlow);
    if (lRet != 0) {
        log_refusal(operation, "delete", lRet);
        return lRet;
    }
    row.show_after();
    lRet = distribute(direction, type, kAddFlow);
    if (lRet != 0) {
        log_refusal(operation, "add", lRet);
        row.show_before();
    }
    return lRet;
}

/// Deletes the types of a classification, flow and row; false when the platform keeps a flow. A row
/// that could not be deleted ends it, for nothing would ever follow it: `rows_gone` tells.
bool delete_types(const Direction& direction, uint8_t clf, bool& rows_gone, const char* operation) {
    ClfType type{};
    for (int32_t position = 0; position < count_rows(direction.types);) {
        if (!read_row(direction.types, position, type) || type.ucClfIndex != clf) {
            ++position;
            continue;
        }
        const int32_t lRet = distribute(direction, type, kDeleteFlow);
        if (lRet != 0) {
            log_refusal(operation, "delete", lRet);
            return false;
        }
        const int32_t before = count_rows(direction.types);
        rows_gone = delete_row(direction.types, position) && count_rows(direction.types) < before;
        // What follows has moved up.
        if (!rows_gone) ++position;
    }
    return true;
}

}  // namespace

int32_t add_classification(const Direction& direction, Clf& request, const char* operation) {
    if (count_rows(direction.classifications) >= kMostClassifications) {
        QOS_LOG_AS(operation, "QoS Clf tab is full !\r\n\r\n");
        return IGD_CM_OPERATE_FULL;
    }
    const uint8_t lInsNum =
        lowest_free_index(direction.classifications, &Clf::ucClfIndex, kMostClassifications);
    QOS_LOG_AS(operation, "Calculated lInsNum [%d].\r\n\r\n", lInsNum);
    Clf row = request;
    if (request.ulBitmap == 0) {
        // Its marks are those of the row before.
        row = {};
        for_each_row(direction.classifications, [&](const Clf& last, int32_t) { row = last; });
        row.class_queue_enable = 1;
        row.ucQueueNum = kDefaultQueue;
        row.ulBitmap = Clf::All;
    }
    row.ucClfIndex = lInsNum;
    if (!add_row(direction.classifications, row)) return IGD_CM_OPERATE_FAIL;
    request.ucClfIndex = lInsNum;
    return 0;
}

int32_t set_classification(const Direction& direction, const Clf& request, const char* operation) {
    if (request.ucClfIndex > kMostClassifications ||
        !selected_in_range(direction.classifications, request))
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    QOS_LOG_AS(operation, "parameter check success !\r\n\r\n");
    Clf old{};
    const int32_t position = find_classification(direction, request.ucClfIndex, old);
    if (position < 0) {
        QOS_LOG_AS(operation, "record not found !\r\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    Clf merged = old;
    merge_selected(direction.classifications, merged, request);
    Steering steering = steer(direction, merged.ucQueueNum);
    AlternatingRow<Clf> row(direction.classifications, position, old, merged);
    const int32_t lRet = for_each_type_of(
        direction, old.ucClfIndex,
        [&](const ClfType& type, int32_t) { return move_flow(direction, type, row, operation); });
    if (lRet != 0) return lRet;
    const bool stored = row.store_after();
    steering.lower();
    return stored ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t delete_classification(const Direction& direction, const Clf& request,
                              const char* operation) {
    if (request.ucClfIndex > kMostClassifications) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Clf clf{};
    const int32_t position = find_classification(direction, request.ucClfIndex, clf);
    if (position < 0) {
        QOS_LOG_AS(operation, "Can't found this Classification !\r\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    Steering steering = steer(direction, clf.ucQueueNum);
    bool rows_gone = true;
    if (!delete_types(direction, clf.ucClfIndex, rows_gone, operation)) return IGD_CM_OPERATE_FAIL;
    const bool deleted = delete_row(direction.classifications, position);
    steering.lower();
    return deleted && rows_gone ? 0 : IGD_CM_OPERATE_FAIL;
}

}  // namespace appcfg::qos
