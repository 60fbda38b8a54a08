#include "qos/flows/classifications.h"

#include "core/bounded.h"
#include "core/log.h"
#include "core/row_queries.h"
#include "qos/flows/distribution.h"
#include "qos/flows/lookup.h"
#include "qos/qos.h"

using namespace appcfg;
using namespace appcfg::qos;

int32_t igdCmQosClfAttrAdd(Clf* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return add_classification(upstream, *request, __func__);
}

int32_t igdCmQosClfAttrSet(Clf* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return set_classification(upstream, *request, __func__);
}

int32_t igdCmQosClfAttrDel(Clf* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return delete_classification(upstream, *request, __func__);
}

int32_t igdCmQosClfAttrGet(Clf* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Clf clf{};
    if (find_classification(upstream, request->ucClfIndex, clf) < 0) return IGD_CM_OPERATE_FAIL;
    copy_record(*request, clf);
    return 0;
}

int32_t igdCmQosClfEntryNumGet(uint32_t* count, uint32_t size) {
    return report_count(clf_table, count, size);
}

int32_t igdCmQosClfGetallIndex(uint32_t* indexes, uint32_t size) {
    return report_indexes(clf_table, &Clf::ucClfIndex, indexes, size);
}

int32_t igdCmQosClfGetallConfigInfo(Clf* rows, uint32_t size) {
    return report_rows(clf_table, rows, size);
}

int32_t igdCmQosClfTypeAttrAdd(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return add_type(upstream, *request, __func__);
}

int32_t igdCmQosClfTypeAttrSet(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return set_type(upstream, *request, __func__);
}

int32_t igdCmQosClfTypeAttrDel(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return delete_type(upstream, *request, __func__);
}

int32_t igdCmQosClfTypeAttrGet(ClfType* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    ClfType type{};
    if (find_type(upstream, request->ucClfIndex, request->ucTypeIndex, type) < 0)
        return IGD_CM_OPERATE_FAIL;
    copy_record(*request, type);
    return 0;
}

int32_t igdCmQosClfTypeEntryNumGet(uint32_t* count, uint32_t size) {
    return report_count(clf_type_table, count, size);
}

int32_t igdCmQosClassificationAttrDistribute(const ClfType& type, uint32_t action) {
    return distribute(upstream, type, action);
}
