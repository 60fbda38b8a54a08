#include "security/mac_filter/mac_filter.h"
#include "zu_services.h"

using namespace appcfg;

namespace {

Outcome delete_rules() {
    for (uint32_t index = 1; index <= kLargestMacFilterIndex; ++index) {
        IgdSecMacFiltList rule{};
        rule.ulIndex = index;
        rule.ulBitmap = IgdSecMacFiltList::All;
        const int32_t code = igdCmSecureMacFilterListDel(&rule, sizeof(rule));
        if (code != 0) return {code, kMacListDelFailure};
    }
    return {};
}

}  // namespace

Outcome appcfg::set_mac_filter(IgdSecMacFiltAttr& request) {
    IgdSecMacFiltAttr before{};
    if (const int32_t code = igdCmSecureMacFilterAttrGet(&before, sizeof(before)); code != 0)
        return {code, "igdCmSecureMacFilterAttrGet error"};
    if (const int32_t code = igdCmSecureMacFilterAttrSet(&request, sizeof(request)); code != 0)
        return {code, "igdCmSecureMacFilterAttrSet error"};
    const bool same = before.ucMacFilterEnable == request.ucMacFilterEnable &&
                      before.ucFilterMode == request.ucFilterMode;
    return same && request.ucMacFilterEnable != 0 ? Outcome{} : delete_rules();
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
