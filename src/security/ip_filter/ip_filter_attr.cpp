#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "records/ip_filter.h"
#include "security/ip_filter/ip_filter.h"

using namespace platform;

namespace {

constexpr uint32_t kBothMask = kIpFilterUpMask | kIpFilterDownMask;

/// The last attribute request that reached the platform.
IgdSecurIpFilterAttrTab last_applied{};

st_filter_mode filter_mode(const IgdSecurIpFilterAttrTab& attr, uint32_t directions) {
    return {.up_filter_en = attr.ucUpFilterEnable,
            .dn_filter_en = attr.ucDownFilterEnable,
            .ui_dir_bitmap = directions,
            .em_dn_listtype = attr.ucDownListType,
            .em_up_listtype = attr.ucUpListType};
}

/// The directions that a request concerns, by its bitmap.
uint32_t selected_directions(uint32_t bitmap) {
    constexpr uint32_t kUpBits = 1u << 0 | 1u << 1;
    constexpr uint32_t kDownBits = 1u << 3 | 1u << 4;
    return (bitmap & kDownBits ? kIpFilterDownMask : 0) + (bitmap & kUpBits ? kIpFilterUpMask : 0);
}

int32_t flush_chains(uint32_t directions) {
    st_flush_chain chains{.ui_dir_bitmap = directions};
    return call(kIpFilterFlushChain, chains);
}

/// True when `direction` is a white list on which no rule stands.
bool is_empty_white_list(uint32_t direction) {
    IgdSecurIpFilterListTab rule;
    return check_white_list_mode(direction) &&
           find_row(IGD_SECUR_IP_FILTER_LIST_TAB, rule, [=](const IgdSecurIpFilterListTab& r) {
               return r.ucIPFilterDir == direction;
           }) < 0;
}

/// A white list without rules would block everything: its chain is emptied instead.
void check_whitelist() {
    SECURITY_LOG("++++++++++++++++\t\n\r\n");
    if (is_empty_white_list(kIpFilterDown) && flush_chains(kIpFilterDownMask) != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_flush_chain is fail.\t\n\r\n");
        return;
    }
    if (is_empty_white_list(kIpFilterUp) && flush_chains(kIpFilterUpMask) != 0)
        SECURITY_LOG("call zu_sal_ipfilter_flush_chain is fail.\t\n\r\n");
}

/// Per-host and per-server filters would follow a change of the attributes here; this gateway has
/// neither, so what remains is to remember the request.
void __IpFilterRefreshByAttr(const IgdSecurIpFilterAttrTab& request) {
    copy_record(last_applied, request);
}

}  // namespace

const IgdSecurIpFilterAttrTab& ip_filter_last_applied() {
    return last_applied;
}

bool check_white_list_mode(uint32_t direction) {
    IgdSecurIpFilterAttrTab attr{};
    if (!mib_chain_get(IGD_SECUR_IP_FILTER_ATTR_TAB, 0, &attr)) return false;
    return (direction == kIpFilterUp ? attr.ucUpListType : attr.ucDownListType) ==
           kIpFilterWhiteList;
}

int32_t igdCmSecureIPFilterAttrSet(IgdSecurIpFilterAttrTab* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (!selected_in_range(ip_filter_attr_table, request)) {
        SECURITY_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    IgdSecurIpFilterAttrTab attr{};
    if (!mib_chain_get(IGD_SECUR_IP_FILTER_ATTR_TAB, 0, &attr)) {
        SECURITY_LOG("error: IGD_CM_OPERATE_FAIL.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    merge_selected(ip_filter_attr_table, &attr, request);
    st_filter_mode mode = filter_mode(attr, selected_directions(request->ulBitmap));
    if (call(kIpFilterSet, mode) != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_set is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    __IpFilterRefreshByAttr(*request);
    mib_chain_update(IGD_SECUR_IP_FILTER_ATTR_TAB, &attr, 0);
    igdCmSecureIPFilterAllInit();
    return 0;
}

int32_t igdCmSecureIPFilterAllInit() {
    SECURITY_LOG("+++++++++++\r\n");
    if (flush_chains(kBothMask) != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_flush_chain is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    IgdSecurIpFilterAttrTab attr{};
    static_cast<void>(mib_chain_get(IGD_SECUR_IP_FILTER_ATTR_TAB, 0, &attr));
    if (attr.ucUpFilterEnable == 0) return 0;
    st_filter_mode mode = filter_mode(attr, kBothMask);
    if (call(kIpFilterRestartSet, mode) != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_restart_set is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    igdCmSecureIPFilterListInit();
    check_whitelist();
    return 0;
}
