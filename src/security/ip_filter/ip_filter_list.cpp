#include <arpa/inet.h>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "security/ip_filter/ip_filter.h"
#include "security/ip_filter/ip_filter_platform.h"

using namespace appcfg;
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

int32_t find_rule(uint8_t index, Rule& rule) {
    return find_index(ip_filter_list_table, rule, &Rule::ucIndex, index);
}

}  // namespace

int32_t igdCmSecureIPFilterListAdd(Rule* request, uint32_t size) {
    if (!is_record(request, size) || !has_addresses(*request))
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (count_rows(ip_filter_list_table) == kListCapacity) {
        SECURITY_LOG("ip filter list is full !\r\n\r\n");
        return IGD_CM_OPERATE_FULL;
    }
    Rule rule = *request;
    rule.ucIndex = next_index(ip_filter_list_table, &Rule::ucIndex);
    if (const int32_t lRet = call_rule(kIpFilterRuleAdd, rule); lRet != 0) {
        SECURITY_LOG("Warnning call zu_sal_ipfilter_rule_add failed with lRet [%08x].\t\n\r\n",
                     static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    int32_t result = 0;
    if (add_row(ip_filter_list_table, rule)) {
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
    if (const int32_t lRet = call_rule(kIpFilterRuleDel, rule); lRet != 0) {
        SECURITY_LOG("call zu_sal_ipfilter_rule_del failed with lRet [%08x].\t\n\r\n",
                     static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    int32_t result = 0;
    if (!delete_row(ip_filter_list_table, position)) {
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
    if (!read_row(ip_filter_list_table, position, old)) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_IP_FILTER_LIST_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    Rule merged = old;
    merge_selected(ip_filter_list_table, merged, *request);
    if (const int32_t lRet = call_rule(kIpFilterRuleAdd, merged); lRet != 0) {
        SECURITY_LOG("Warnning call zu_sal_ipfilter_rule_add failed with lRet [%08x].\t\n\r\n",
                     static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    // The row becomes the request as it came: front ends always send whole rules.
    if (!write_row(ip_filter_list_table, position, *request)) {
        SECURITY_LOG("mib_chain_update IGD_SECUR_IP_FILTER_LIST_TAB failed !\r\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    static_cast<void>(call_rule(kIpFilterRuleDel, old));
    return 0;
}

void appcfg::widen_ports_without_protocol(Rule& request) {
    /// Protocol numbers whose only possible bit is this one have no ports: 0 and 4.
    constexpr uint8_t kPortlessBit = 1u << 2;
    constexpr uint32_t kLargestPort = 65535;
    if (request.ucIPFilterProtocol & ~kPortlessBit) return;
    request.ulLanPortStart = request.ulWanPortStart = 0;
    request.ulLanPortEnd = request.ulWanPortEnd = kLargestPort;
}
