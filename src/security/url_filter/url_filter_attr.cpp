#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "records/url_filter.h"
#include "security/url_filter/url_filter.h"

using namespace appcfg;
using namespace platform;

namespace {

using Attr = IgdSecurUrlFilterAttrConfTab;

}  // namespace

int32_t igdCmSecureUrlFilterAttrSet(Attr* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (!selected_in_range(url_filter_attr_table, *request)) {
        SECURITY_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    Attr attr{};
    if (!read_row(url_filter_attr_table, 0, attr)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_URL_FILTER_ATTR_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    merge_selected(url_filter_attr_table, attr, *request);
    const bool white = attr.ucFilterMode != 0;
    const st_url_filter secure_filter{
        .filter_en = attr.ucUrlFilterEnable,
        .em_listtype = white ? kUrlFilterWhiteList : kUrlFilterBlackList};
    SECURITY_LOG("secure_filter.filter_en [%d].\t\n\r\n", secure_filter.filter_en);
    SECURITY_LOG("secure_filter.em_listtype [%s].\t\n\r\n",
                 white ? "ZU_SAL_SEC_WHITELIST" : "ZU_SAL_SEC_BLACKLIST");
    if (queue(kUrlFilterSet, secure_filter) != 0) {
        SECURITY_LOG("call zu_sal_sec_url_filter_set is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return write_row(url_filter_attr_table, 0, attr) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmSecureUrlFilterAttrGet(Attr* out, uint32_t size) {
    if (!is_record(out, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (!read_row(url_filter_attr_table, 0, *out)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_URL_FILTER_ATTR_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

int32_t igdCmSecureUrlFilterAttrInit() {
    Attr stored{};
    // Attributes that cannot be read select nothing.
    static_cast<void>(read_row(url_filter_attr_table, 0, stored));
    const int32_t result = igdCmSecureUrlFilterAttrSet(&stored, sizeof(stored));
    if (result != 0)
        SECURITY_LOG(
            "############ Security URL Filter Attribute Table Init Failed ############\t\n\r\n");
    return result;
}
