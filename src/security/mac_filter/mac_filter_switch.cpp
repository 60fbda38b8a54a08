#include "core/result.h"
#include "security/mac_filter/mac_filter.h"
#include "zu_services.h"

using namespace appcfg;

Outcome appcfg::set_mac_filter(IgdSecMacFiltAttr& request) {
    IgdSecMacFiltAttr before{};
    if (const int32_t code = igdCmSecureMacFilterAttrGet(&before, sizeof(before)); code != 0)
        return {code, "igdCmSecureMacFilterAttrGet error"};
    if (const int32_t code = igdCmSecureMacFilterAttrSet(&request, sizeof(request)); code != 0)
        return {code, "igdCmSecureMacFilterAttrSet error"};
    const bool same = before.ucMacFilterEnable == request.ucMacFilterEnable &&
                      before.ucFilterMode == request.ucFilterMode;
    if (same && request.ucMacFilterEnable != 0) return {};
    return delete_mac_rules() ? Outcome{} : Outcome{IGD_CM_OPERATE_FAIL, kMacListDelFailure};
}

int32_t igdCmMacFilterModuleInit() {
    igdCmSecureMacFilterAttrInit();
    igdCmSecureMacFilterListInit();
    return 0;
}

void appcfg::mac_filter_restart() {
    init_macfilter();
    igdCmMacFilterModuleInit();
}
