#include "core/bounded.h"
#include "core/record_log.h"
#include "core/result.h"
#include "core/rows.h"
#include "qos/flows/direction.h"
#include "qos/qos.h"
#include "qos/upstream/flow_limit_texts.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

using Record = zu_sal_qos_dslimited_s;
using Text = char[128];

/// Actions of the distribution.
constexpr uint32_t kSetLimits = 1;
constexpr uint32_t kLiftLimits = 2;
constexpr uint32_t kLimitsAlways = 3;

/// How the limits of ports, of VLANs and of addresses go from the row into the record, by
/// direction.
struct LimitSide {
    const char* title;
    uint32_t bits;  ///< of everything that follows
    uint8_t FlowLimit::*mode;
    uint32_t mode_bit;
    Text FlowLimit::*texts[kLimitAddresses];
    uint32_t text_bits[kLimitAddresses];
    uint32_t Record::*em_mode;
    st_qos_port_limit (Record::*ports)[10];
    st_qos_vlan_limit (Record::*vlans)[10];
    st_qos_ip_limit (Record::*ranges)[10];
};

constexpr LimitSide kSides[] = {
    {"UpLimitMode",
     0x55,
     &FlowLimit::ucUpLimitMode,
     FlowLimit::UpLimitMode,
     {&FlowLimit::aucUpLanLimit, &FlowLimit::aucUpVlanLimit, &FlowLimit::aucUpIpLimit},
     {FlowLimit::UpLanLimit, FlowLimit::UpVlanLimit, FlowLimit::UpIpLimit},
     &Record::em_mode_up,
     &Record::st_port_up,
     &Record::st_vlan_up,
     &Record::st_ip_up},
    {"DownLimitMode",
     0xaa,
     &FlowLimit::ucDownLimitMode,
     FlowLimit::DownLimitMode,
     {&FlowLimit::aucDownLanLimit, &FlowLimit::aucDownVlanLimit, &FlowLimit::aucDownIpLimit},
     {FlowLimit::DownLanLimit, FlowLimit::DownVlanLimit, FlowLimit::DownIpLimit},
     &Record::em_mode_down,
     &Record::st_port_down,
     &Record::st_vlan_down,
     &Record::st_ip_down},
};

/// Takes over what the request says of one side; false if the mode's own text is missing.
bool merge_side(const LimitSide& side, const FlowLimit& request, FlowLimit& row) {
    if (request.ulBitmap & side.mode_bit) row.*side.mode = request.*side.mode;
    const uint32_t mode = row.*side.mode;
    if (mode != kLimitNone && mode <= kLimitAddresses &&
        (!(request.ulBitmap & side.text_bits[mode - 1]) ||
         (request.*side.texts[mode - 1])[0] == '\0'))
        return false;
    for (size_t i = 0; i < std::size(side.texts); ++i) {
        Text& text = row.*side.texts[i];
        zero(text);
        if (mode != kLimitNone && request.ulBitmap & side.text_bits[i])
            copy_record(text, request.*side.texts[i]);
    }
    return true;
}

void resolve_side(const LimitSide& side, const FlowLimit& limits, uint32_t mode, Record& record) {
    record.*side.em_mode = mode;
    switch (mode) {
        case kLimitPorts:
            return igdCmQosUniLimitResolveFromString(limits.*side.texts[0], record.*side.ports);
        case kLimitVlans:
            return igdCmQosVlanLimitResolveFromString(limits.*side.texts[1], record.*side.vlans);
        case kLimitAddresses:
            return igdCmQosIpLimitResolveFromString(limits.*side.texts[2], record.*side.ranges);
    }
}

/// The entries stay, so that the platform knows which limits it is to lift.
void lift_side(const LimitSide& side, Record& record) {
    for (auto& limit : record.*side.ports)
        limit.rate = 0;
    for (auto& limit : record.*side.vlans)
        limit.rate = 0;
    for (auto& limit : record.*side.ranges)
        limit.rate = 0;
}

}  // namespace

int32_t igdCmQosFlowLimitAttrSet(FlowLimit* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    FlowLimit old{};
    if (!read_row(flow_limit_table, 0, old)) return IGD_CM_OPERATE_FAIL;
    if (!selected_in_range(flow_limit_table, *request)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    QOS_LOG("parameter check success !\r\n\r\n");
    FlowLimit merged = old;
    for (const LimitSide& side : kSides) {
        if (!(request->ulBitmap & side.bits)) continue;
        QOS_LOG("%s !\r\n\r\n", side.title);
        if (!merge_side(side, *request, merged)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    merged.ulBitmap |= request->ulBitmap;
    if (const int32_t lRet = igdCmQosFlowLimitAttrDistribute(old, kLiftLimits); lRet != 0)
        QOS_LOG(
            "IPC Call igdCmQosFlowLimitAttrDistribute() action [disable] failed with lRet "
            "[%08x].\r\n\r\n",
            static_cast<uint32_t>(lRet));
    if (const int32_t lRet = igdCmQosFlowLimitAttrDistribute(merged, kSetLimits); lRet != 0) {
        QOS_LOG(
            "IPC Call igdCmQosFlowLimitAttrDistribute() action [enable] failed with lRet "
            "[%08x].\r\n\r\n",
            static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    return write_row(flow_limit_table, 0, merged) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosFlowLimitAttrGet(FlowLimit* out, uint32_t size) {
    if (!is_record(out, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return read_row(flow_limit_table, 0, *out) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosFlowLimitAttrInit() {
    QOS_LOG("############ QoS Module Flow Limit Table Init Start ############\r\n\r\n");
    FlowLimit limits{};
    static_cast<void>(read_row(flow_limit_table, 0, limits));
    const int32_t lRet = igdCmQosFlowLimitAttrSet(&limits, sizeof(limits));
    if (lRet != 0) {
        QOS_LOG("############ QoS Module Flow Limit Table Init Failed ############\n\r\n");
        return lRet;
    }
    QOS_LOG("############ QoS Module Flow Limit Table Init End ############\r\n\r\n");
    return 0;
}

int32_t igdCmQosFlowLimitAttrDistribute(const FlowLimit& limits, uint32_t action) {
    QOS_LOG("\n########## Flow Limit Action [%d] ##########\r\n\r\n", action);
    LOG_COLUMNS(kQosLog, __func__, flow_limit_table, &limits);
    Settings settings{};
    static_cast<void>(upstream.read_settings(settings));
    FlowLimit stored{};
    static_cast<void>(read_row(flow_limit_table, 0, stored));
    if (action != kLimitsAlways && settings.enabled != 1) return 0;
    const bool lifts = action == kLiftLimits;
    Record record;
    zero(record);
    for (const LimitSide& side : kSides) {
        resolve_side(side, limits, (lifts ? stored : limits).*side.mode, record);
        if (lifts) lift_side(side, record);
    }
    LOG_RECORD(kQosLog, __func__, "st_qos_dslimited", kFlowLimitLayout, record);
    const int32_t lRet = call(kQosFlowLimitSet, record);
    if (lRet != 0)
        QOS_LOG("IPC Call zu_qos_dslimited_set() failed with lRet [%08x].\r\n\r\n",
                static_cast<uint32_t>(lRet));
    return lRet;
}
