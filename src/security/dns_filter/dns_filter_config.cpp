#include <unistd.h>

#include <cstring>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "records/dns_filter.h"
#include "security/dns_filter/dns_filter.h"
#include "security/dns_filter/dns_filter_testing.h"
#include "security/dns_filter/host_list_file.h"
#include "zu_os.h"

using namespace appcfg;
using namespace platform;

constinit DnsFilterFiles appcfg::dns_filter_files{.host_list = "/tmp/cgi_dnsfilter",
                                                  .rule_host_list = kDnsFilterRuleHostList};

namespace {

using Rule = IgdDnsFilterConfigTab;

constexpr uint32_t kHostsBits = Rule::Domain | Rule::HostList;

/// Which bits of a rule's bitmap make the platform change what. A name is of no use to it.
constexpr struct {
    uint32_t selected;
    uint32_t changed;
} kChanges[] = {
    {Rule::Enable, kDnsFilterSetEnable}, {kHostsBits, kDnsFilterSetHosts},
    {Rule::Mac, kDnsFilterSetMac},       {Rule::Mode, kDnsFilterSetMode},
    {Rule::Action, kDnsFilterSetAction}, {Rule::Weekdays | Rule::Time, kDnsFilterSetTime},
};

uint32_t set_mask(uint32_t bitmap) {
    uint32_t mask = 0;
    for (const auto& [selected, changed] : kChanges)
        if (bitmap & selected) mask |= changed;
    return mask;
}

struct RuleHostListPath {
    char text[64];

    explicit RuleHostListPath(uint8_t index) {
        snprintf_s(text, sizeof(text), sizeof(text) - 1, "%s_%d", dns_filter_files.rule_host_list,
                   index);
    }
};

st_item item_with_index(uint8_t index) {
    st_item item;
    zero(item);
    item.index = index;
    return item;
}

st_item item_of(const Rule& rule) {
    st_item item = item_with_index(rule.ucIndex);
    item.action = rule.ucAction;
    item.enable = rule.ucEnable;
    item.hostflag = (rule.ulBitmap & kHostsBits) != 0;
    item.mode = rule.ucMode;
    snprintf_s(item.auc_time, sizeof(item.auc_time), sizeof(item.auc_time) - 1, "%s;%s",
               rule.aucWeekdays, rule.aucTime);
    copy_record(item.auc_mac, rule.aucMACAddress);
    return item;
}

int32_t find_rule(uint8_t index, Rule& rule) {
    return find_index(dns_filter_config_table, rule, &Rule::ucIndex, index);
}

bool is_mac_taken(const Rule& request) {
    Rule rule;
    return find_row(dns_filter_config_table, rule, [&](const Rule& other) {
               return other.ucIndex != request.ucIndex &&
                      zu_os_strcmp(other.aucMACAddress, request.aucMACAddress) == 0;
           }) >= 0;
}

template <size_t Size>
bool fits(const char (&text)[Size]) {
    return strnlen(text, Size) < Size;
}

bool has_valid_texts(const Rule& request) {
    const uint32_t bitmap = request.ulBitmap;
    if (bitmap & Rule::Domain && request.aucDomain[0] == '\0') return false;
    if (bitmap & Rule::HostList && access(request.aucHostListName, R_OK) != 0) return false;
    if (bitmap & Rule::Weekdays && !fits(request.aucWeekdays)) return false;
    return !(bitmap & Rule::Time) || fits(request.aucTime);
}

bool write_domain(const Rule& rule) {
    const RuleHostListPath path(rule.ucIndex);
    HostListFile file(path.text);
    return file.append_domain(rule.aucDomain) && file.publish();
}

}  // namespace

int32_t igdCmDnsFilterConfigAdd(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    const int32_t lTotalNum = count_rows(dns_filter_config_table);
    if (lTotalNum == kListCapacity) {
        SECURITY_LOG("mib_chain_total failed lTotalNum %d\n\r\n", lTotalNum);
        return IGD_CM_OPERATE_FULL;
    }
    Rule rule;
    const int32_t position = find_rule(request->ucIndex, rule);
    if (position < 0) {
        SECURITY_LOG("cannot find the index(%d), lTotalNum = %d\n\r\n", request->ucIndex,
                     lTotalNum);
        return kDnsRuleNotFound;
    }
    st_item item = item_with_index(request->ucIndex);
    if (call(kDnsFilterAdd, item) != 0) {
        SECURITY_LOG("call zu_sal_sec_dns_filter_add is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    const RuleHostListPath path(request->ucIndex);
    if (!HostListFile(path.text).publish()) return IGD_CM_OPERATE_FAIL;
    rule.ucEnable = request->ucEnable;
    if (!write_row(dns_filter_config_table, position, rule)) {
        SECURITY_LOG("mib_chain_update IGD_DNS_FILTER_CONFIG_TAB is fail\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

int32_t igdCmDnsFilterConfigDel(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule;
    const int32_t position = find_rule(request->ucIndex, rule);
    if (position < 0) {
        SECURITY_LOG("cannot find the index(%d), lTotalNum = %d\n\r\n", request->ucIndex,
                     count_rows(dns_filter_config_table));
        return kDnsRuleNotFound;
    }
    st_item item = item_with_index(request->ucIndex);
    if (call(kDnsFilterDel, item) != 0) {
        SECURITY_LOG("call zu_sal_sec_dns_filter_del is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    rule.ucEnable = 0;
    if (!write_row(dns_filter_config_table, position, rule)) {
        SECURITY_LOG("mib_chain_update IGD_DNS_FILTER_CONFIG_TAB is fail\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

int32_t igdCmDnsFilterConfigSet(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (is_mac_taken(*request)) {
        SECURITY_LOG(
            "error: MAC same, pIgdCmDnsFilterConfigTab->ucIndex[%d], "
            "pIgdCmDnsFilterConfigTab->aucMACAddress[%s]\t\n\r\n",
            request->ucIndex, request->aucMACAddress);
        return kDnsRuleMacTaken;
    }
    Rule rule;
    const int32_t position = find_rule(request->ucIndex, rule);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    if (!selected_in_range(dns_filter_config_table, *request) || !has_valid_texts(*request)) {
        SECURITY_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    if (!read_row(dns_filter_config_table, position, rule)) {
        SECURITY_LOG("mib_chain_get IGD_DNS_FILTER_CONFIG_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    merge_selected(dns_filter_config_table, rule, *request);
    if (request->ulBitmap & Rule::Domain && !write_domain(rule)) return IGD_CM_OPERATE_FAIL;
    if (request->ulBitmap & Rule::HostList &&
        copy_dnsfilter_file(rule.aucHostListName, RuleHostListPath(rule.ucIndex).text) != 0) {
        SECURITY_LOG("error: do copy_dnsfilter_file fail\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    st_item item = item_of(rule);
    item.Bitmap = set_mask(request->ulBitmap);
    if (item.Bitmap != 0 && call(kDnsFilterSet, item) != 0) {
        SECURITY_LOG("call zu_sal_sec_dns_filter_set is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    write_row(dns_filter_config_table, position, rule);
    return 0;
}

int32_t igdCmDnsFilterConfigGet(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule;
    if (find_rule(request->ucIndex, rule) < 0) {
        SECURITY_LOG("cannot find the index(%d), lTotalNum = %d\n\r\n", request->ucIndex,
                     count_rows(dns_filter_config_table));
        return kDnsRuleNotFound;
    }
    copy_record(*request, rule);
    st_item item = item_with_index(rule.ucIndex);
    if (call(kDnsFilterGet, item) != 0) {
        SECURITY_LOG("call zu_sal_sec_dns_filter_get is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

int32_t igdCmDnsFilterConfigInit() {
    const int32_t total = count_rows(dns_filter_config_table);
    uint32_t mask = 0;  // what one row selects is set for all that follow, too
    for (int32_t position = 0; position < total; ++position) {
        Rule rule;
        if (!read_row(dns_filter_config_table, position, rule)) continue;
        st_item item = item_of(rule);
        if (call(kDnsFilterAdd, item) != 0)
            SECURITY_LOG("############ zu_sal_sec_dns_filter_add Failed ############\n\r\n");
        mask |= set_mask(rule.ulBitmap);
        item.Bitmap = mask;
        if (mask != 0 && call(kDnsFilterSet, item) != 0)
            SECURITY_LOG("call zu_sal_sec_dns_filter_set is fail.\t\n\r\n");
    }
    return 0;
}
