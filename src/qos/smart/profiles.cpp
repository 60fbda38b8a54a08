#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "qos/smart/smart.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;

namespace {

struct SmartDirection {
    const TableOf<SmartProfile>& table;
    const platform::Call<st_smart_qos_profile>& callee;
    const char* function;  ///< the platform's, as the log tells it
};

constexpr SmartDirection kUpstream{smart_upstream_table, platform::kSmartQosUpstreamSet,
                                   "zu_smart_qos_upstream_qid_set"};
constexpr SmartDirection kDownstream{smart_downstream_table, platform::kSmartQosDownstreamSet,
                                     "zu_smart_qos_downstream_qid_set"};

/// A row that is missing would read as one of 0, and could not be written.
bool read_profile(const SmartDirection& direction, SmartProfile& row, const char* operation) {
    if (count_rows(direction.table) > 0 && read_row(direction.table, 0, row)) return true;
    QOS_LOG_AS(operation, "%s get error\n\r\n", direction.table.type);
    return false;
}

/// The platform's result, which nobody but the log is told.
int32_t tell_platform(const SmartDirection& direction, const SmartProfile& row,
                      const char* operation) {
    st_smart_qos_profile record{row.rate_limit};
    const int32_t ret = call(direction.callee, record);
    QOS_LOG_AS(operation, "ipc_call %s ret is %u\n\r\n", direction.function,
               static_cast<uint32_t>(ret));
    return ret;
}

int32_t set_profile(const SmartDirection& direction, const SmartProfile* request, uint32_t size,
                    const char* operation) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SmartProfile row{};
    if (!read_profile(direction, row, operation)) return IGD_CM_OPERATE_FAIL;
    row.rate_limit = request->rate_limit;
    if (tell_platform(direction, row, operation) == 0) write_row(direction.table, 0, row);
    return 0;
}

}  // namespace

int32_t igd_cm_smart_qos_upstream_profile_set(SmartProfile* request, uint32_t size) {
    return set_profile(kUpstream, request, size, __func__);
}

int32_t igd_cm_smart_qos_downstream_profile_set(SmartProfile* request, uint32_t size) {
    return set_profile(kDownstream, request, size, __func__);
}

void igd_cm_smart_qos_profile_init() {
    for (const SmartDirection& direction : {kUpstream, kDownstream}) {
        SmartProfile row{};
        if (!read_profile(direction, row, __func__)) return;
        if (row.rate_limit != 0) tell_platform(direction, row, __func__);
    }
}
