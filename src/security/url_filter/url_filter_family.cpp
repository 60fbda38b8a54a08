#include "security/url_filter/url_filter_rules.h"

using namespace appcfg;
using namespace platform;

namespace {

using Rule = IgdSecurUrlFilterFamilyListAttrConfTab;

/// Has the platform forget a rule's address; false if it refuses.
bool delete_address(const Rule& rule, int32_t position, const char* operation) {
    SECURITY_LOG_AS(operation,
                    "Found family group %d rule at index %d, URL: [%s], MAC: [%s]\t\n\r\n",
                    rule.family_group, position, rule.aucFilterUrl, rule.aucMacAddress);
    if (!has_url(rule)) return true;
    SECURITY_LOG_AS(operation, "zu_sal_sec_url_address_delete [%s] for family group %d.\t\n\r\n",
                    rule.aucFilterUrl, rule.family_group);
    if (call_platform(kUrlAddressDelete, rule) == 0) return true;
    SECURITY_LOG_AS(operation, "call zu_sal_sec_url_address_delete is fail.\t\n\r\n");
    return false;
}

/// Deletes a rule's row, even if the platform keeps its address.
bool delete_group_row(int32_t group, int32_t position, const char* operation) {
    if (delete_row(url_filter_family_list_table, position)) {
        SECURITY_LOG_AS(operation, "Successfully deleted family group %d rule at index %d\t\n\r\n",
                        group, position);
        return true;
    }
    SECURITY_LOG_AS(operation,
                    "mib_chain_delete IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB failed at index "
                    "%d.\t\n\r\n",
                    position);
    return false;
}

/// Calls `each(rule, position)` for the rules of a group, from the end of the list, so that a
/// deleted row moves none that is still to be looked at. False if one of the calls was.
template <class Each>
bool for_each_of_group(int32_t group, Each each) {
    bool all = true;
    for (int32_t position = count_rows(url_filter_family_list_table) - 1; position >= 0;
         --position) {
        Rule rule;
        if (read_row(url_filter_family_list_table, position, rule) && rule.family_group == group)
            all = each(rule, position) && all;
    }
    return all;
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
    const char* const operation = __func__;
    const int32_t group = request->family_group;
    SECURITY_LOG("lTotalNum = %d\t\n\r\n", count_rows(url_filter_family_list_table));
    bool found = false;
    bool done = for_each_of_group(group, [&](const Rule& rule, int32_t position) {
        found = true;
        return delete_address(rule, position, operation);
    });
    if (!found) {
        SECURITY_LOG("No rules found for family group %d\t\n\r\n", group);
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    RowsTogether rows(url_filter_family_list_table);
    done = for_each_of_group(group,
                             [&](const Rule&, int32_t position) {
                                 return delete_group_row(group, position, operation);
                             }) &&
           done;
    done = rows.store() && done;
    SECURITY_LOG("Successfully deleted all rules for family group %d\t\n\r\n", group);
    return done ? 0 : IGD_CM_OPERATE_FAIL;
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
