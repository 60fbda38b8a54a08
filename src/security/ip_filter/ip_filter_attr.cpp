#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "security/ip_filter/ip_filter.h"
#include "security/ip_filter/ip_filter_platform.h"

using namespace appcfg;
using namespace platform;

namespace {

using Attr = IgdSecurIpFilterAttrTab;

/// The last attribute request that reached the platform.
Attr last_applied{};

/// The directions that a request concerns, by its bitmap.
uint32_t selected_directions(uint32_t bitmap) {
    constexpr uint32_t kUpBits = Attr::UpEnable | Attr::UpListType;
    constexpr uint32_t kDownBits = Attr::DownEnable | Attr::DownListType;
    return (bitmap & kDownBits ? kIpFilterDownMask : 0) + (bitmap & kUpBits ? kIpFilterUpMask : 0);
}

/// Per-host and per-server filters would follow a change of the attributes here; this gateway has
/// neither, so what remains is to remember the request.
void __IpFilterRefreshByAttr(const Attr& request) {
    copy_record(last_applied, request);
}

}  // namespace

int32_t igdCmSecureIPFilterAttrSet(Attr* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (!selected_in_range(ip_filter_attr_table, *request)) {
        SECURITY_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    Attr attr{};
    if (!read_row(ip_filter_attr_table, 0, attr)) {
        SECURITY_LOG("error: IGD_CM_OPERATE_FAIL.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    merge_selected(ip_filter_attr_table, attr, *request);
    st_filter_mode mode = filter_mode(attr, selected_directions(request->ulBitmap));
    if (call(kIpFilterSet, mode) != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_set is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    __IpFilterRefreshByAttr(*request);
    write_row(ip_filter_attr_table, 0, attr);
    igdCmSecureIPFilterAllInit();
    return 0;
}

void appcfg::enable_both_directions(Attr& request) {
    request.ucDownFilterEnable = request.ucUpFilterEnable;
}
