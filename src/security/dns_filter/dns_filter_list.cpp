#include <unistd.h>

#include <cstring>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "security/dns_filter/dns_filter.h"
#include "security/dns_filter/dns_filter_testing.h"
#include "security/dns_filter/host_list_file.h"
#include "zu_os.h"

using namespace appcfg;

namespace {

constexpr uint32_t kLargestIndex = 100;

using Entry = IgdSecurDnsFilterListTab;
using Rule = IgdDnsFilterConfigTab;

int32_t find_entry(uint32_t index, Entry& entry) {
    return find_index(dns_filter_list_table, entry, &Entry::ulIndex, index);
}

bool is_listed(const char* domain) {
    Entry entry;
    return find_row(dns_filter_list_table, entry, [=](const Entry& e) {
               return zu_os_strcmp(e.aucFilterDomain, domain) == 0;
           }) >= 0;
}

/// A domain is written as it came, so one that holds a line end would become several.
bool has_line_end(const char* text) {
    return std::strchr(text, '\n') != nullptr;
}

bool is_filter_on() {
    Rule rule;
    return find_row(dns_filter_config_table, rule, [](const Rule& r) { return r.ucEnable == 1; }) >=
           0;
}

/// Appends all domains; their number, -1 when one cannot be written.
int32_t append_domains(HostListFile& file) {
    int32_t count = 0;
    Entry entry;
    const int32_t failed = find_row(dns_filter_list_table, entry, [&](const Entry& e) {
        if (e.aucFilterDomain[0] == '\0' || has_line_end(e.aucFilterDomain)) return false;
        ++count;
        return !file.append_domain(e.aucFilterDomain);
    });
    return failed < 0 ? count : -1;
}

/// Makes the host-list file the host list of the list's rule, or removes it while no rule is on.
int32_t hand_over(const char* operation) {
    if (!is_filter_on()) {
        unlink(dns_filter_files.host_list);
        return 0;
    }
    Rule rule;
    zero(rule);
    rule.ucIndex = kDnsListRule;
    rule.ucEnable = 1;
    copy_text(rule.aucHostListName, dns_filter_files.host_list);
    rule.ulBitmap = Rule::Enable | Rule::HostList;
    const int32_t ret = igdCmDnsFilterConfigSet(&rule, sizeof(rule));
    if (ret == 0) return 0;
    SECURITY_LOG_AS(operation, "igdCmDnsFilterConfigSet fail, ret = %d\r\n\r\n", ret);
    return IGD_CM_OPERATE_FAIL;
}

}  // namespace

int32_t igdCmSecureDnsFilterListAdd(Entry* request, uint32_t size) {
    if (!is_record(request, size) || has_line_end(request->aucFilterDomain))
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (count_rows(dns_filter_list_table) == kListCapacity) return IGD_CM_OPERATE_FULL;
    if (is_listed(request->aucFilterDomain)) {
        SECURITY_LOG("aucFilterDomain[%s] has same item, return\t\n\r\n", request->aucFilterDomain);
        return IGD_CM_OPERATE_FAIL;
    }
    Entry entry = *request;
    entry.ulIndex = next_index(dns_filter_list_table, &Entry::ulIndex);
    SECURITY_LOG("add new index[%d] to mib\t\n\r\n", entry.ulIndex);
    if (!add_row(dns_filter_list_table, entry)) {
        SECURITY_LOG("mib_chain_add IGD_SECUR_DNS_FILTER_LIST_TAB fail, entry.ulIndex = %d\t\n\r\n",
                     entry.ulIndex);
        return IGD_CM_OPERATE_FAIL;
    }
    return igdCmSecureDnsFilterListReload();
}

int32_t igdCmSecureDnsFilterListDel(Entry* request, uint32_t size) {
    if (!is_record(request, size) || request->ulIndex > kLargestIndex)
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Entry entry;
    const int32_t position = find_entry(request->ulIndex, entry);
    if (position < 0) {
        SECURITY_LOG("not found index(%d), return\t\n\r\n", request->ulIndex);
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    if (!delete_row(dns_filter_list_table, position))
        SECURITY_LOG("mib_chain_delete IGD_SECUR_DNS_FILTER_LIST_TAB if fail.\t\n\r\n");
    return igdCmSecureDnsFilterListReload();
}

int32_t igdCmSecureDnsFilterListDelAll() {
    const int32_t total = count_rows(dns_filter_list_table);
    if (total == 0) {
        SECURITY_LOG("DNS Filter list table is empty !\r\n\r\n");
        return 0;
    }
    RowsTogether rows(dns_filter_list_table);
    for (int32_t i = total - 1; i >= 0; --i)
        if (!delete_row(dns_filter_list_table, i))
            SECURITY_LOG("mib_chain_delete IGD_SECUR_DNS_FILTER_LIST_TAB fail, i = %d\t\n\r\n", i);
    rows.store();
    return igdCmSecureDnsFilterListReload();
}

int32_t igdCmSecureDnsFilterListSet(Entry* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (request->ulIndex > kLargestIndex) {
        SECURITY_LOG("cannot found the index!\r\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    Entry entry;
    const int32_t position = find_entry(request->ulIndex, entry);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    merge_selected(dns_filter_list_table, entry, *request);
    if (!write_row(dns_filter_list_table, position, entry)) {
        SECURITY_LOG("mib_chain_update IGD_SECUR_DNS_FILTER_LIST_TAB failed !\r\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

int32_t igdCmSecureDnsFilterListReload() {
    if (count_rows(dns_filter_config_table) == 0)
        SECURITY_LOG("DNS Filter config table is empty !\r\n\r\n");
    if (count_rows(dns_filter_list_table) == 0)
        SECURITY_LOG("DNS Filter list table is empty !\r\n\r\n");
    const char* path = dns_filter_files.host_list;
    unlink(path);
    HostListFile file(path);
    if (append_domains(file) < 0 || !file.publish()) {
        SECURITY_LOG("open/create new file %s failed\t\n\r\n", path);
        return IGD_CM_OPERATE_FAIL;
    }
    return hand_over(__func__);
}

int32_t igdCmSecureDnsFilterListInit() {
    if (count_rows(dns_filter_config_table) == 0)
        SECURITY_LOG("DNS Filter config table is empty !\r\n\r\n");
    if (count_rows(dns_filter_list_table) == 0) {
        SECURITY_LOG("DNS Filter list table is empty !\r\n\r\n");
        return 0;
    }
    const char* path = dns_filter_files.host_list;
    unlink(path);
    HostListFile file(path);
    const int32_t written = append_domains(file);
    if (written == 0) return 0;
    if (written < 0 || !file.publish()) {
        SECURITY_LOG("open/create new file %s failed\t\n\r\n", path);
        return IGD_CM_OPERATE_FAIL;
    }
    return hand_over(__func__);
}
