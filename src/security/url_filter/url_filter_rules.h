#pragma once

#include <cstring>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "core/table.h"
#include "records/url_filter.h"
#include "security/url_filter/url_filter.h"

// What the list and the family list do alike, for their own use only. Rules differ in that some
// have a host. Where a function logs, it does so in the name of `operation`.

namespace appcfg {

template <class Rule>
bool has_url(const Rule& rule) {
    return rule.aucFilterUrl[0] != '\0';
}

/// Hands the rule's address over to the platform's call.
template <class Rule>
[[nodiscard]] int32_t call_platform(const platform::Call<st_url_address>& callee,
                                    const Rule& rule) {
    st_url_address address;
    zero(address);
    address.filter_en = rule.enable;
    address.proto_mask = rule.protocol_mask;
    copy_text(address.url_name, rule.aucFilterUrl);
    if constexpr (requires { rule.aucMacAddress; }) copy_text(address.host_mac, rule.aucMacAddress);
    return queue(callee, address);
}

/// Fills in what a request leaves open: a rule is in force unless it says otherwise.
template <class Rule>
void default_unselected(Rule& request) {
    constexpr uint32_t kDefaultProtocolMask = 3;
    if (!(request.ulBitmap & Rule::Enable)) request.enable = 1;
    if (!(request.ulBitmap & Rule::ProtocolMask)) request.protocol_mask = kDefaultProtocolMask;
}

/// Admits `request` to the list, sets its address and makes `rule` the row to be added.
template <class Rule>
[[nodiscard]] int32_t prepare_rule(const TableOf<Rule>& table, Rule& request, Rule& rule,
                                   const char* operation) {
    if (count_rows(table) == kListCapacity) return IGD_CM_OPERATE_FULL;
    const auto same_url = [&](const Rule& r) {
        return std::strcmp(r.aucFilterUrl, request.aucFilterUrl) == 0;
    };
    if (find_row(table, rule, same_url) >= 0) return IGD_CM_OPERATE_FAIL;
    const uint32_t index = next_index(table, &Rule::ulIndex);
    SECURITY_LOG_AS(operation, "zu_sal_sec_url_address_set para : [%s].\t\n\r\n",
                    request.aucFilterUrl);
    if (has_url(request)) {
        default_unselected(request);
        SECURITY_LOG_AS(operation, "ipc call zu_sal_sec_url_address_set\t\n\r\n");
        if (call_platform(platform::kUrlAddressSet, request) != 0) {
            SECURITY_LOG_AS(operation, "call zu_sal_sec_url_address_set is fail.\t\n\r\n");
            return IGD_CM_OPERATE_FAIL;
        }
    }
    copy_record(rule, request);
    rule.ulIndex = index;
    SECURITY_LOG_AS(operation, "new index = %d\t\n\r\n", index);
    return 0;
}

template <class Rule>
[[nodiscard]] int32_t delete_rule(const TableOf<Rule>& table, uint32_t index,
                                  const char* operation) {
    if (index > kLargestUrlFilterIndex) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG_AS(operation, "lTotalNum = %d\t\n\r\n", count_rows(table));
    Rule rule;
    const int32_t position = find_index(table, rule, &Rule::ulIndex, index);
    if (position < 0) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG_AS(operation, "zu_sal_sec_url_address_delete [%s].\t\n\r\n", rule.aucFilterUrl);
    if (has_url(rule) && call_platform(platform::kUrlAddressDelete, rule) != 0) {
        SECURITY_LOG_AS(operation, "call zu_sal_sec_url_address_delete is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    if (!delete_row(table, position)) {
        SECURITY_LOG_AS(operation, "mib_chain_delete %s if fail.\t\n\r\n", table.type);
        return IGD_CM_OPERATE_FAIL;
    }
    return 0;
}

/// Sets the address of the row at `position`; false if the platform refuses it. A row that cannot
/// be read or has no URL is passed over.
template <class Rule>
[[nodiscard]] bool replay_rule(const TableOf<Rule>& table, int32_t position) {
    Rule rule;
    if (!read_row(table, position, rule) || !has_url(rule)) return true;
    return call_platform(platform::kUrlAddressSet, rule) == 0;
}

}  // namespace appcfg
