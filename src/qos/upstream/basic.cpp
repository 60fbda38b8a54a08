#include <string_view>

#include "base/tokens.h"
#include "board/factory_mode.h"
#include "core/alternating_row.h"
#include "core/bounded.h"
#include "core/record_log.h"
#include "core/result.h"
#include "qos/flows/queues.h"
#include "qos/flows/reapplication.h"
#include "qos/qos.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

/// Bits of the mark value that also switch the remarking of QoS items on.
constexpr uint8_t kItemsRemarked = 2;

/// What to do with the limits: see igdCmQosFlowLimitAttrDistribute.
constexpr uint32_t kSetLimits = 1;
constexpr uint32_t kLiftLimits = 2;
constexpr uint32_t kSetLimitsAnyway = 3;

uint32_t kind_of_traffic(std::string_view name) {
    static constexpr struct {
        std::string_view name;
        uint32_t value;
    } kKinds[] = {
        {"TR069", kTrafficTr069}, {"VOIP", kTrafficVoip}, {"OTHER", kTrafficOther},
        {"IPTV", kTrafficIptv},   {"OTT", kTrafficOtt},
    };
    for (const auto& kind : kKinds)
        if (kind.name == name) return kind.value;
    return kTrafficUnknown;
}

/// Fills the template with the kinds of traffic that `aucMode` names; what does not fit is left
/// out.
void igdCmQosModeResolveFromName(const char (&aucMode)[32], uint32_t (&em_mode)[11]) {
    char work[64] = {};
    cut_text(work, aucMode);
    base::Tokens tokens(work, ",");
    std::string_view token;
    for (size_t i = 0; i < std::size(em_mode) && tokens.next(token); ++i) {
        em_mode[i] = kind_of_traffic(token);
        QOS_LOG("modeValue[%d] = [%02x].\r\n\r\n", static_cast<int>(i), em_mode[i]);
    }
}

void log_uplink(const zu_sal_qos_uplink_s& uplink, const char* operation) {
    LOG_BANNER(kQosLog, operation, kQosUplinkLayout.name, "info start");
    QOS_LOG_AS(operation, "st_qos_uplink.em_mode [%02x-%02x-%02x-%02x].\r\n\r\n", uplink.em_mode[0],
               uplink.em_mode[1], uplink.em_mode[2], uplink.em_mode[3]);
    log_fields(kQosLog, operation, __LINE__, "st_qos_uplink", kQosUplinkLayout.fields.subspan(1),
               &uplink);
    LOG_BANNER(kQosLog, operation, kQosUplinkLayout.name, "info end");
}

zu_sal_qos_uplink_s uplink_of(const Basic& basic, const char* operation) {
    zu_sal_qos_uplink_s uplink;
    zero(uplink);
    igdCmQosModeResolveFromName(basic.aucMode, uplink.em_mode);
    uplink.ui_enable = basic.ucQosEnable;
    uplink.ui_force_weight_en = basic.ucEnableForceWeight;
    uplink.ui_band_width = basic.ucQosEnable == 1 ? basic.ulBandwidth : 0;
    uplink.ui_tcp_session = basic.ulTcpSession;
    log_uplink(uplink, operation);
    return uplink;
}

/// Notes a change of plan, which the queues will have to follow; true if there is one.
bool note_plan_change(const Basic& before, const Basic& request) {
    if (!(request.ulBitmap & Basic::Plan) || g_ui.basic_init_flag != 0 ||
        before.ucPlan == request.ucPlan)
        return false;
    g_ui.plan_old = before.ucPlan;
    g_ui.plan_new = request.ucPlan;
    g_ui.plan_change_flag = 1;
    return true;
}

void log_nothing(const char* operation) {
    QOS_LOG_AS(operation, " do nothing !\r\n\r\n");
}

struct TypeReport {
    const char* operation;

    void queue(const Queue&, bool) const {}
    void refused(Refused kind, int32_t lRet) const {
        const bool add = kind == Refused::Add || kind == Refused::AddAfterDelete;
        // On the way to an add, log collectors find 0 where the result of the delete would stand.
        if (kind == Refused::DeleteBeforeAdd) lRet = 0;
        QOS_LOG_AS(operation,
                   "Call igdCmQosClassificationAttrDistribute(), action [%s] failed with lRet "
                   "[%08x].\r\n\r\n",
                   add ? "add" : "delete", static_cast<uint32_t>(lRet));
    }
    void nothing() const { log_nothing(operation); }
};

void reapply_apps(Action action, const char* operation) {
    if (action == Action::None) return log_nothing(operation);
    const int32_t lRet = igdCmQosAppAttrDistribute(static_cast<uint32_t>(action));
    if (lRet != 0)
        QOS_LOG_AS(operation,
                   "Call igdCmQosAppAttrDistribute(), action [%s] failed with lRet [%08x].\r\n\r\n",
                   action == Action::Delete ? "del" : "add", static_cast<uint32_t>(lRet));
}

void distribute_limits(const FlowLimit& limits, uint32_t action, const char* operation) {
    const int32_t lRet = igdCmQosFlowLimitAttrDistribute(limits, action);
    if (lRet != 0)
        QOS_LOG_AS(operation,
                   "Call igdCmQosFlowLimitAttrDistribute(), action [%s] failed with lRet "
                   "[%08x].\r\n\r\n",
                   action == kLiftLimits ? "disable" : "enable", static_cast<uint32_t>(lRet));
}

void reapply_limits(Action action, const char* operation) {
    FlowLimit limits{};
    static_cast<void>(read_row(flow_limit_table, 0, limits));
    switch (action) {
        case Action::None:
            return log_nothing(operation);
        case Action::Add:
            // The stored switch is still off for whoever looks at it.
            return distribute_limits(limits, kSetLimitsAnyway, operation);
        case Action::Delete:
            return distribute_limits(limits, kLiftLimits, operation);
        case Action::Reapply:
            distribute_limits(limits, kLiftLimits, operation);
            return distribute_limits(limits, kSetLimits, operation);
    }
}

int32_t send_uplink(Action action, zu_sal_qos_uplink_s& uplink, const char* operation) {
    const int32_t lRet = action == Action::None ? 0 : call(kQosUplinkSet, uplink);
    QOS_LOG_AS(operation, "IPC_CALL zu_qos_qm_set() with lRet [%08x].\r\n\r\n",
               static_cast<uint32_t>(lRet));
    return lRet;
}

/// Tells the platform of the change from `before` to `after`, and of all that depends on it.
int32_t apply(const Basic& before, const Basic& after, bool plan_changed,
              AlternatingRow<Basic>& row, const char* operation) {
    const Action action = action_between(before.ucQosEnable, after.ucQosEnable);
    igdCmQosItemsAttrCtrl(after.ucQosEnable, after.ucEnableDscpMark,
                          after.ucEnable8021p == kItemsRemarked);
    zu_sal_qos_uplink_s uplink = uplink_of(after, operation);
    const int32_t lRet = send_uplink(action, uplink, operation);
    // Queues leave the strict plan before the flows are distributed, and enter it after them.
    if (g_ui.plan_change_flag == 1 && g_ui.plan_old == kPlanStrict) follow_plan_change(upstream);
    if (lRet == 0) {
        reapply_types(upstream, action, before.ucPlan, plan_changed, row, TypeReport{operation});
        reapply_apps(action, operation);
        reapply_limits(action, operation);
    }
    if (g_ui.plan_change_flag == 1 && g_ui.plan_new == kPlanStrict) follow_plan_change(upstream);
    return lRet;
}

}  // namespace

int32_t igdCmQosBasicAttrSet(Basic* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    LOG_COLUMNS(kQosLog, __func__, basic_table, request);
    if (!selected_in_range(basic_table, *request)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    QOS_LOG("parameter check success !\r\n\r\n");
    Basic before{};
    static_cast<void>(read_row(basic_table, 0, before));
    Basic after = before;
    merge_selected(basic_table, after, *request);
    const bool plan_changed = note_plan_change(before, *request);
    AlternatingRow<Basic> row(basic_table, 0, before, after);
    const int32_t lRet = apply(before, after, plan_changed, row, __func__);
    if (lRet != 0) return lRet;
    return row.store_after() ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosBasicAttrGet(Basic* out, uint32_t size) {
    if (!is_record(out, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return read_row(basic_table, 0, *out) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosBasicAttrInit() {
    QOS_LOG("############ QoS Module QoS Templete Table Init Start ############\r\n\r\n");
    g_ui.basic_init_flag = 1;
    Basic basic{};
    static_cast<void>(read_row(basic_table, 0, basic));
    if (board::is_factory_mode()) {
        basic.ucQosEnable = 0;
        basic.ulBitmap = Basic::Enable;
        QOS_LOG("############ factory mode, disable qos############\n\r\n");
    }
    const int32_t lRet = igdCmQosBasicAttrSet(&basic, sizeof(basic));
    if (lRet != 0)
        QOS_LOG("############ QoS Module QoS Templete Table Init Failed ############\n\r\n");
    QOS_LOG("############ QoS Module QoS Templete Table Init End ############\r\n\r\n");
    g_ui.basic_init_flag = 0;
    return lRet;
}
