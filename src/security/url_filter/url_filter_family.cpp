#include "security/url_filter/url_filter_rules.h"

using namespace appcfg;
using namespace platform;

namespace {

using Rule = IgdSecurUrlFilterFamilyListAttrConfTab;

/// Deletes one rule of a group, its row even if the platform keeps its address.
int32_t delete_group_rule(const Rule& rule, int32_t position, const char* operation) {
    int32_t result = 0;
    SECURITY_LOG_AS(operation,
                    "Found family group %d rule at index %d, URL: [%s], MAC: [%s]\t\n\r\n",
                    rule.family_group, position, rule.aucFilterUrl, rule.aucMacAddress);
    if (has_url(rule)) {
        SECURITY_LOG_AS(operation,
                        "zu_sal_sec_url_address_delete [%s] for family group %d.\t\n\r\n",
                        rule.aucFilterUrl, rule.family_group);
        if (call_platform(platform::kUrlAddressDelete, rule) != 0) {
            SECURITY_LOG_AS(operation, "call zu_sal_sec_url_address_delete is fail.\t\n\r\n");
            result = IGD_CM_OPERATE_FAIL;
        }
    }
    if (!delete_row(url_filter_family_list_table, position)) {
        SECURITY_LOG_AS(operation,
                        "mib_chain_delete IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB failed at index "
                        "%d.\t\n\r\n",
                        position);
        return IGD_CM_OPERATE_FAIL;
    }
    SECURITY_LOG_AS(operation, "Successfully deleted family group %d rule at index %d\t\n\r\n",
                    rule.family_group, position);
    return result;
}

}  // namespace

int32_t igdCmSecureUrlFilterFamilyListAdd(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule;
    const int32_t refusal = prepare_rule(url_filter_family_list_table, *request, rule, __func__);
    if (refusal != 0) return refusal;
    if (!add_row(url_filter_family_list_table, rule)) return IGD_CM_OPERATE_FAIL;
    request->ulIndex = rule.ulIndex;
    return 0;
}

int32_t igdCmSecureUrlFilterFamilyListDel(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return delete_rule(url_filter_family_list_table, request->ulIndex, __func__);
}

int32_t igdCmSecureUrlFilterFamilyGroupAllDel(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    const int32_t group = request->family_group;
    const int32_t total = count_rows(url_filter_family_list_table);
    SECURITY_LOG("lTotalNum = %d\t\n\r\n", total);
    int32_t result = 0;
    bool found = false;
    // From the end, so that a deleted row moves none that is still to be looked at.
    for (int32_t position = total - 1; position >= 0; --position) {
        Rule rule;
        if (!read_row(url_filter_family_list_table, position, rule) || rule.family_group != group)
            continue;
        found = true;
        if (delete_group_rule(rule, position, __func__) != 0) result = IGD_CM_OPERATE_FAIL;
    }
    if (!found) {
        SECURITY_LOG("No rules found for family group %d\t\n\r\n", group);
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    SECURITY_LOG("Successfully deleted all rules for family group %d\t\n\r\n", group);
    return result;
}

int32_t igdCmSecureUrlFilterFamilyListGet(Rule* request, uint32_t size) {
    if (!is_record(request, size) || request->ulIndex > kLargestUrlFilterIndex)
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG("lTotalNum = %d\t\n\r\n", count_rows(url_filter_family_list_table));
    Rule rule;
    if (find_index(url_filter_family_list_table, rule, &Rule::ulIndex, request->ulIndex) < 0) {
        SECURITY_LOG("URL filter rule with ulIndex %d not found\t\n\r\n", request->ulIndex);
        return IGD_CM_OPERATE_FAIL;
    }
    SECURITY_LOG("Found URL filter rule with ulIndex: %d, URL: %s, MAC: %s\t\n\r\n", rule.ulIndex,
                 rule.aucFilterUrl, rule.aucMacAddress);
    copy_record(*request, rule);
    return 0;
}

int32_t igdCmSecureUrlFilterFamilyListInit() {
    SECURITY_LOG("############ Security URL Filter List Table Init Start ############\t\n\r\n");
    const int32_t total = count_rows(url_filter_family_list_table);
    if (total == 0) SECURITY_LOG("Family URL Filter list table is empty !\t\n\r\n");
    int32_t result = 0;
    for (int32_t position = 0; position < total; ++position)
        if (!replay_rule(url_filter_family_list_table, position)) {
            SECURITY_LOG("call zu_sal_sec_url_address_set is fail.\t\n\r\n");
            result = IGD_CM_OPERATE_FAIL;
        }
    SECURITY_LOG("############ Security URL Filter List Table Init End ############\t\n\r\n");
    return result;
}
