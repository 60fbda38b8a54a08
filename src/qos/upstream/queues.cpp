#include "qos/flows/queues.h"

#include "core/bounded.h"
#include "core/result.h"
#include "qos/flows/lookup.h"
#include "qos/qos.h"

using namespace appcfg;
using namespace appcfg::qos;

int32_t igdCmQosQueueAttrSet(Queue* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return set_queue(upstream, *request, __func__);
}

int32_t igdCmQosQueueAttrGet(Queue* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Queue queue{};
    if (find_queue(upstream, request->ucQueueIndex, queue) < 0) return IGD_CM_OPERATE_FAIL;
    copy_record(*request, queue);
    return 0;
}

int32_t igdCmQosQueueAttrInit() {
    return init_queues(upstream, "lTotalNum", __func__);
}
