#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "security/ip_filter/ip_filter.h"
#include "security/ip_filter/ip_filter_platform.h"
#include "zu_services.h"

using namespace appcfg;
using namespace platform;

namespace {

using Attr = IgdSecurIpFilterAttrTab;
using Rule = IgdSecurIpFilterListTab;

constexpr uint32_t kBothMask = kIpFilterUpMask | kIpFilterDownMask;

st_filter_list __IpFliter2SalIpFliterFormat(const Rule& rule) {
    st_filter_list item;
    zero(item);
    item.em_type = rule.ucIPFilterProtocol;
    item.em_dir = rule.ucIPFilterDir;
    item.ui_dst_sport = rule.ulWanPortStart;
    item.ui_dst_eport = rule.ulWanPortEnd;
    item.ui_src_sport = rule.ulLanPortStart;
    item.ui_src_eport = rule.ulLanPortEnd;
    copy_text(item.ac_dst_sip, rule.aucWanIPStart);
    copy_text(item.ac_dst_eip, rule.aucWanIPEnd);
    copy_text(item.ac_src_sip, rule.aucLanIPStart);
    copy_text(item.ac_src_eip, rule.aucLanIPEnd);
    return item;
}

[[nodiscard]] bool flush_chains(uint32_t directions) {
    st_flush_chain chains{.ui_dir_bitmap = directions};
    return call(kIpFilterFlushChain, chains) == 0;
}

/// True when `direction` is a white list on which no rule stands.
bool is_empty_white_list(uint32_t direction) {
    Rule rule;
    return check_white_list_mode(direction) &&
           find_row(ip_filter_list_table, rule,
                    [=](const Rule& r) { return r.ucIPFilterDir == direction; }) < 0;
}

/// A white list without rules would block everything: its chain is emptied instead.
void check_whitelist() {
    SECURITY_LOG("++++++++++++++++\t\n\r\n");
    if (is_empty_white_list(kIpFilterDown) && !flush_chains(kIpFilterDownMask)) {
        SECURITY_LOG("call zu_sal_ipfilter_flush_chain is fail.\t\n\r\n");
        return;
    }
    if (is_empty_white_list(kIpFilterUp) && !flush_chains(kIpFilterUpMask))
        SECURITY_LOG("call zu_sal_ipfilter_flush_chain is fail.\t\n\r\n");
}

}  // namespace

st_filter_mode appcfg::filter_mode(const Attr& attr, uint32_t directions) {
    return {.up_filter_en = attr.ucUpFilterEnable,
            .dn_filter_en = attr.ucDownFilterEnable,
            .ui_dir_bitmap = directions,
            .em_dn_listtype = attr.ucDownListType,
            .em_up_listtype = attr.ucUpListType};
}

int32_t appcfg::call_rule(const Call<st_filter_list>& callee, const Rule& rule) {
    st_filter_list item = __IpFliter2SalIpFliterFormat(rule);
    return call(callee, item);
}

bool check_white_list_mode(uint32_t direction) {
    Attr attr{};
    if (!read_row(ip_filter_attr_table, 0, attr)) return false;
    return (direction == kIpFilterUp ? attr.ucUpListType : attr.ucDownListType) ==
           kIpFilterWhiteList;
}

int32_t igdCmSecureIPFilterListInit() {
    SECURITY_LOG("############ Security IP Filter List Table Init Start ############\n\r\n");
    const int32_t total = count_rows(ip_filter_list_table);
    if (total == 0) SECURITY_LOG("IP Filte list table is empty !\r\n\r\n");
    for (int32_t position = 0; position < total; ++position) {
        Rule rule;
        if (!read_row(ip_filter_list_table, position, rule)) {
            SECURITY_LOG("IP Filte list Get Fail %d !\r\n\r\n", position);
            continue;
        }
        static_cast<void>(call_rule(kIpFilterRuleAdd, rule));
    }
    SECURITY_LOG("############ Security IP Filter List Table Init End ############\n\r\n");
    return 0;
}

int32_t igdCmSecureIPFilterAllInit() {
    SECURITY_LOG("+++++++++++\r\n");
    if (!flush_chains(kBothMask)) {
        SECURITY_LOG("call zu_sal_ipfilter_flush_chain is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    Attr attr{};
    static_cast<void>(read_row(ip_filter_attr_table, 0, attr));
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

void appcfg::ip_filter_restart() {
    zu_sec_ipfilter_init();
    igdCmSecureIPFilterAllInit();
}
