#include "core/ipc_entries.h"
#include "core/result.h"
#include "core/rows.h"
#include "qos/downlink/downlink.h"
#include "qos/qos.h"

namespace appcfg::qos {

/// What a type is known by, as it is listed.
struct TypeIndex {
    uint8_t clf;
    uint8_t type;
    uint16_t reserved;
};

int32_t list_downlink_type_indexes() {
    ClfType row{};
    const int32_t stopped =
        walk_rows(downlink_clf_type_table, row, [](const ClfType& type, int32_t) {
            const TypeIndex index{type.ucClfIndex, type.ucTypeIndex, 0};
            return zu_owal_ipc_append(&index, sizeof(index)) != 0;
        });
    return stopped < 0 ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t list_downlink_types() {
    ClfType row{};
    const int32_t stopped = walk_rows(
        downlink_clf_type_table, row,
        [](const ClfType& type, int32_t) { return zu_owal_ipc_append(&type, sizeof(type)) != 0; });
    return stopped < 0 ? 0 : IGD_CM_OPERATE_FAIL;
}

namespace {

constexpr zu_owal_ipc_entry kEntries[] = {
    ipc_text_entry<igdCmQosBasicAttrSet, basic_table>("zu_igdCmQosBasicAttrSet_cli_call"),
    ipc_entry<igdCmQosBasicAttrGet>("zu_igdCmQosBasicAttrGet_cli_call"),
    ipc_entry<igdCmQosClfAttrAdd>("zu_igdCmQosClfAttrAdd_cli_call"),
    ipc_entry<igdCmQosClfAttrDel>("zu_igdCmQosClfAttrDel_cli_call"),
    ipc_entry<igdCmQosClfAttrSet>("zu_igdCmQosClfAttrSet_cli_call"),
    ipc_entry<igdCmQosClfAttrGet>("zu_igdCmQosClfAttrGet_cli_call"),
    ipc_entry<igdCmQosClfEntryNumGet>("zu_igdCmQosClfEntryNumGet_cli_call"),
    ipc_text_entry<igdCmQosClfTypeAttrAdd, clf_type_table>("zu_igdCmQosClfTypeAttrAdd_cli_call"),
    ipc_entry<igdCmQosClfTypeAttrDel>("zu_igdCmQosClfTypeAttrDel_cli_call"),
    ipc_text_entry<igdCmQosClfTypeAttrSet, clf_type_table>("zu_igdCmQosClfTypeAttrSet_cli_call"),
    ipc_entry<igdCmQosClfTypeAttrGet>("zu_igdCmQosClfTypeAttrGet_cli_call"),
    ipc_entry<igdCmQosClfTypeEntryNumGet>("zu_igdCmQosClfTypeEntryNumGet_cli_call"),
    ipc_text_entry<igdCmQosAppAttrAdd, app_table>("zu_igdCmQosAppAttrAdd_cli_call"),
    ipc_entry<igdCmQosAppAttrDel>("zu_igdCmQosAppAttrDel_cli_call"),
    ipc_text_entry<igdCmQosAppAttrSet, app_table>("zu_igdCmQosAppAttrSet_cli_call"),
    ipc_entry<igdCmQosAppAttrGet>("zu_igdCmQosAppAttrGet_cli_call"),
    ipc_entry<igdCmQosAppEntryNumGet>("zu_igdCmQosAppEntryNumGet_cli_call"),
    ipc_entry<igdCmQosQueueAttrSet>("zu_igdCmQosQueueAttrSet_cli_call"),
    ipc_entry<igdCmQosQueueAttrGet>("zu_igdCmQosQueueAttrGet_cli_call"),
    ipc_text_entry<igdCmQosFlowLimitAttrSet, flow_limit_table>(
        "zu_igdCmQosFlowLimitAttrSet_cli_call"),
    ipc_entry<igdCmQosFlowLimitAttrGet>("zu_igdCmQosFlowLimitAttrGet_cli_call"),
    ipc_entry<igd_cm_downlink_qos_basic_set>("zu_igd_cm_downlink_qos_basic_set_cli_call"),
    ipc_entry<igd_cm_downlink_qos_clf_add>("zu_igd_cm_downlink_qos_clf_add_cli_call"),
    ipc_entry<igd_cm_downlink_qos_clf_del>("zu_igd_cm_downlink_qos_clf_del_cli_call"),
    ipc_entry<igd_cm_downlink_qos_clf_set>("zu_igd_cm_downlink_qos_clf_set_cli_call"),
    ipc_text_entry<igd_cm_downlink_qos_clf_type_add, downlink_clf_type_table>(
        "zu_igd_cm_downlink_qos_clf_type_add_cli_call"),
    ipc_entry<igd_cm_downlink_qos_clf_type_del>("zu_igd_cm_downlink_qos_clf_type_del_cli_call"),
    ipc_text_entry<igd_cm_downlink_qos_clf_type_set, downlink_clf_type_table>(
        "zu_igd_cm_downlink_qos_clf_type_set_cli_call"),
    ipc_listing<list_downlink_type_indexes>(
        "zu_igd_cm_downlink_qos_clf_type_get_all_index_cli_call"),
    ipc_listing<list_downlink_types>("zu_igd_cm_downlink_qos_clf_type_get_all_entry_cli_call"),
    ipc_entry<igd_cm_downlink_qos_queue_set>("zu_igd_cm_downlink_qos_queue_set_cli_call"),
};
static_assert(std::size(kEntries) == 31);

const OfferedEntries offered(kEntries);

}  // namespace
}  // namespace appcfg::qos
