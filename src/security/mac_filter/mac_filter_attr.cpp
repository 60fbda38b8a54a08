#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "records/mac_filter.h"
#include "security/mac_filter/mac_filter.h"

using namespace appcfg;
using namespace platform;

namespace {

using Attr = IgdSecMacFiltAttr;
using Rule = IgdSecMacFiltList;

/// The platform's mode for a stored row, -1 if the row names none.
int32_t mode_of(const Attr& attr) {
    if (attr.ucMacFilterEnable == 0) return kMacFilterOff;
    if (attr.ucFilterMode == 0) return kMacFilterBlackList;
    return attr.ucFilterMode == 1 ? static_cast<int32_t>(kMacFilterWhiteList) : -1;
}

int32_t set_macfilter_glb_mode(const Attr& attr) {
    const int32_t mode = mode_of(attr);
    if (mode < 0) {
        SECURITY_LOG("ucFilterMode %d invalid\t\n\r\n", attr.ucFilterMode);
        return IGD_CM_OPERATE_FAIL;
    }
    st_macfilter_mode record{.mac_filter = static_cast<uint32_t>(mode)};
    SECURITY_LOG("mac_filter(%u).\t\n\r\n", record.mac_filter);
    if (call(kMacFilterModeSet, record) == 0) return 0;
    SECURITY_LOG("call zu_lanhost_macfilter_mode_set is fail.\t\n\r\n");
    return IGD_CM_OPERATE_FAIL;
}

/// In the stored list only: the platform's items stay.
void disable_rules(const char* operation) {
    const int32_t total = count_rows(mac_filter_list_table);
    for (int32_t position = 0; position < total; ++position) {
        Rule rule;
        if (!read_row(mac_filter_list_table, position, rule)) continue;
        rule.ulEnable = 0;
        if (!write_row(mac_filter_list_table, position, rule))
            SECURITY_LOG_AS(operation,
                            "mib_chain_update IGD_SECUR_MAC_FILTER_LIST_TAB failed !\r\n\r\n");
    }
}

}  // namespace

int32_t igdCmSecureMacFilterAttrSet(Attr* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG("*************entry in igdCmSecureMacFilterAttrSet*************\n\r\n");
    SECURITY_LOG("ulBitmap(%u), ucMacFilterEnable(%u), ucFilterMode(%u)\t\n\r\n", request->ulBitmap,
                 request->ucMacFilterEnable, request->ucFilterMode);
    if (!selected_in_range(mac_filter_attr_table, *request)) {
        SECURITY_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    Attr stored{};
    if (!read_row(mac_filter_attr_table, 0, stored)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_MAC_FILTER_ATTR_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    Attr attr = stored;
    merge_selected(mac_filter_attr_table, attr, *request);
    const bool changed = attr.ucMacFilterEnable != stored.ucMacFilterEnable ||
                         attr.ucFilterMode != stored.ucFilterMode;
    if (!changed && request->ulForce != kMacFilterForced) {
        SECURITY_LOG("lParaChanged == 0, no change, return\t\n\r\n");
        return 0;
    }
    if (set_macfilter_glb_mode(attr) != 0) {
        SECURITY_LOG("call set_macfilter_glb_mode is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    RowsTogether rows(mac_filter_attr_table);
    if (changed) disable_rules(__func__);
    write_row(mac_filter_attr_table, 0, attr);
    rows.store();
    return 0;
}

int32_t igdCmSecureMacFilterAttrGet(Attr* attr, uint32_t size) {
    if (!is_record(attr, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Attr stored{};
    if (!read_row(mac_filter_attr_table, 0, stored)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_MAC_FILTER_ATTR_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    copy_record(*attr, stored);
    return 0;
}

int32_t igdCmSecureMacFilterAttrInit() {
    Attr attr{};
    if (!read_row(mac_filter_attr_table, 0, attr)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_MAC_FILTER_ATTR_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    attr.ulForce = kMacFilterForced;
    const int32_t result = igdCmSecureMacFilterAttrSet(&attr, sizeof(attr));
    if (result != 0)
        SECURITY_LOG(
            "############ Security MAC Filter Attribute Table Init Failed ############\n\r\n");
    return result;
}
