#include "core/row_queries.h"
#include "security/url_filter/url_filter_rules.h"

using namespace appcfg;
using namespace platform;

namespace {

using Rule = IgdSecurUrlFilterListAttrConfTab;

int32_t find_rule(uint32_t index, Rule& rule) {
    return find_index(url_filter_list_table, rule, &Rule::ulIndex, index);
}

/// Deletes the address that a rule had before it was replaced.
int32_t delete_old_address(const Rule& old, const char* operation) {
    if (!has_url(old)) return 0;
    SECURITY_LOG_AS(operation, "st_filter_list.filter_en = %d \t\n\r\n", old.enable);
    SECURITY_LOG_AS(operation, "st_filter_list.proto_mask = %d \t\n\r\n", old.protocol_mask);
    SECURITY_LOG_AS(operation, "st_filter_list.url_name = %s \t\n\r\n", old.aucFilterUrl);
    SECURITY_LOG_AS(operation, "ipc call zu_sal_sec_url_address_delete \t\n\r\n");
    if (call_platform(platform::kUrlAddressDelete, old) != 0) {
        SECURITY_LOG_AS(operation, "call zu_sal_sec_url_address_delete is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

}  // namespace

int32_t igdCmSecureUrlFilterListAdd(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule;
    const int32_t refusal = prepare_rule(url_filter_list_table, *request, rule, __func__);
    if (refusal != 0) return refusal;
    if (!add_row(url_filter_list_table, rule)) {
        SECURITY_LOG("mib_chain_add IGD_SECUR_URL_FILTER_LIST_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    request->ulIndex = rule.ulIndex;
    return 0;
}

int32_t igdCmSecureUrlFilterListSet(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG("ulIndex = %d, ulBitmap = %d, aucFilterUrl = %s\t\n\r\n", request->ulIndex,
                 request->ulBitmap, request->aucFilterUrl);
    if (request->ulIndex > kLargestUrlFilterIndex) {
        SECURITY_LOG("cannot found the index!\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    SECURITY_LOG("wan current ip filter list num [%d].\t\n\r\n", count_rows(url_filter_list_table));
    Rule old;
    const int32_t position = find_rule(request->ulIndex, old);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    default_unselected(*request);
    if (has_url(*request)) {
        SECURITY_LOG("ipc call zu_sal_sec_url_address_set \t\n\r\n");
        if (call_platform(platform::kUrlAddressSet, *request) != 0) {
            SECURITY_LOG("call zu_sal_sec_url_address_set is fail.\t\n\r\n");
            return IGD_CM_OPERATE_FAIL;
        }
    }
    SECURITY_LOG("rule set fin\t\n\r\n");
    if (!write_row(url_filter_list_table, position, *request)) {
        SECURITY_LOG("mib_chain_update IGD_SECUR_URL_FILTER_LIST_TAB failed !\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return delete_old_address(old, __func__);
}

int32_t igdCmSecureUrlFilterListDel(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return delete_rule(url_filter_list_table, request->ulIndex, __func__);
}

int32_t igdCmSecureUrlFilterListGet(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule;
    if (find_rule(request->ulIndex, rule) < 0) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_URL_FILTER_LIST_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    copy_record(*request, rule);
    return 0;
}

int32_t igdCmSecureUrlFilterListEntryNumGet(uint32_t* count, uint32_t size) {
    return report_count(url_filter_list_table, count, size);
}

int32_t igdCmSecureUrlFilterListGetallIndex(uint32_t* indexes, uint32_t size) {
    const int32_t result = report_indexes(url_filter_list_table, &Rule::ulIndex, indexes, size);
    if (result == IGD_CM_OPERATE_FAIL) SECURITY_LOG("Fail: IGD_CM_OPERATE_Fail.\t\n\r\n");
    return result;
}

int32_t igdCmSecureUrlFilterListInit() {
    SECURITY_LOG("############ Security URL Filter List Table Init Start ############\t\n\r\n");
    const int32_t total = count_rows(url_filter_list_table);
    if (total == 0) SECURITY_LOG("URL Filte list table is empty !\t\n\r\n");
    for (int32_t position = 0; position < total; ++position)
        if (!replay_rule(url_filter_list_table, position))
            SECURITY_LOG(
                "############ Security URL Filter list Table[%d] add Failed ############\t\n\r\n",
                position);
    SECURITY_LOG("############ Security URL Filter List Table Init End ############\t\n\r\n");
    return 0;
}
