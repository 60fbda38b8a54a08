#include <arpa/inet.h>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "records/ip_filter.h"
#include "security/ip_filter/ip_filter.h"

using namespace platform;

namespace {

constexpr uint8_t kLargestIndex = 100;
constexpr uint8_t kLargestSettableIndex = 99;

using Rule = IgdSecurIpFilterListTab;

bool is_address(const char* text) {
    if (text[0] == '\0' || text[0] == ' ') return true;
    in6_addr address;
    return inet_pton(AF_INET, text, &address) == 1 || inet_pton(AF_INET6, text, &address) == 1;
}

bool has_addresses(const Rule& rule) {
    return is_address(rule.aucLanIPStart) && is_address(rule.aucLanIPEnd) &&
           is_address(rule.aucWanIPStart) && is_address(rule.aucWanIPEnd);
}

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

int32_t call_platform(const Call<st_filter_list>& callee, const Rule& rule) {
    st_filter_list item = __IpFliter2SalIpFliterFormat(rule);
    return call(callee, item);
}

int32_t find_rule(uint8_t index, Rule& rule) {
    return find_index(IGD_SECUR_IP_FILTER_LIST_TAB, rule, &Rule::ucIndex, index);
}

}  // namespace

int32_t igdCmSecureIPFilterListAdd(Rule* request, uint32_t size) {
    if (!is_record(request, size) || !has_addresses(*request))
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (mib_chain_total(IGD_SECUR_IP_FILTER_LIST_TAB) == kListCapacity) {
        SECURITY_LOG("ip filter list is full !\r\n\r\n");
        return IGD_CM_OPERATE_FULL;
    }
    Rule rule = *request;
    rule.ucIndex = next_index(IGD_SECUR_IP_FILTER_LIST_TAB, &Rule::ucIndex);
    if (const int32_t lRet = call_platform(kIpFilterRuleAdd, rule); lRet != 0) {
        SECURITY_LOG("Warnning call zu_sal_ipfilter_rule_add failed with lRet [%08x].\t\n\r\n",
                     static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    int32_t result = 0;
    if (mib_chain_add(IGD_SECUR_IP_FILTER_LIST_TAB, &rule)) {
        request->ucIndex = rule.ucIndex;
    } else {
        SECURITY_LOG("mib_chain_add IGD_SECUR_IP_FILTER_LIST_TAB failed !\r\n\r\n");
        result = IGD_CM_OPERATE_FAIL;
    }
    igdCmSecureIPFilterAllInit();
    return result;
}

int32_t igdCmSecureIPFilterListDel(Rule* request, uint32_t size) {
    if (!is_record(request, size) || request->ucIndex > kLargestIndex)
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule;
    const int32_t position = find_rule(request->ucIndex, rule);
    if (position < 0) {
        SECURITY_LOG("can't find this ip filter list !\r\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    if (const int32_t lRet = call_platform(kIpFilterRuleDel, rule); lRet != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_rule_del failed with lRet [%08x].\t\n\r\n",
                     static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    int32_t result = 0;
    if (!mib_chain_delete(IGD_SECUR_IP_FILTER_LIST_TAB, position)) {
        SECURITY_LOG("mib_chain_delete IGD_SECUR_IP_FILTER_LIST_TAB failed !\r\n\r\n");
        result = IGD_CM_OPERATE_FAIL;
    }
    igdCmSecureIPFilterAllInit();
    return result;
}

int32_t igdCmSecureIPFilterListSet(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG("**************************entry in igdCmSecureIPFilterListSet\n\r\n");
    if (request->ucIndex > kLargestSettableIndex) return IGD_CM_OPERATE_FULL;
    Rule old;
    const int32_t position = find_rule(request->ucIndex, old);
    if (position < 0) {
        SECURITY_LOG("not found index, return IGD_CM_OPERATE_FAIL\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    if (!mib_chain_get(IGD_SECUR_IP_FILTER_LIST_TAB, position, &old)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_IP_FILTER_LIST_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    Rule merged = old;
    merge_selected(ip_filter_list_table, &merged, request);
    if (const int32_t lRet = call_platform(kIpFilterRuleAdd, merged); lRet != 0) {
        SECURITY_LOG("Warnning call zu_sal_ipfilter_rule_add failed with lRet [%08x].\t\n\r\n",
                     static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    // The row becomes the request as it came: front ends always send whole rules.
    if (!mib_chain_update(IGD_SECUR_IP_FILTER_LIST_TAB, request, position)) {
        SECURITY_LOG("mib_chain_update IGD_SECUR_IP_FILTER_LIST_TAB failed !\r\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    static_cast<void>(call_platform(kIpFilterRuleDel, old));
    return 0;
}

int32_t igdCmSecureIPFilterListInit() {
    SECURITY_LOG("############ Security IP Filter List Table Init Start ############\n\r\n");
    const int32_t total = mib_chain_total(IGD_SECUR_IP_FILTER_LIST_TAB);
    if (total == 0) SECURITY_LOG("IP Filte list table is empty !\r\n\r\n");
    for (int32_t position = 0; position < total; ++position) {
        Rule rule;
        if (!mib_chain_get(IGD_SECUR_IP_FILTER_LIST_TAB, position, &rule)) {
            SECURITY_LOG("IP Filte list Get Fail %d !\r\n\r\n", position);
            continue;
        }
        static_cast<void>(call_platform(kIpFilterRuleAdd, rule));
    }
    SECURITY_LOG("############ Security IP Filter List Table Init End ############\n\r\n");
    return 0;
}
