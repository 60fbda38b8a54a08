#include <bitset>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/row_queries.h"
#include "records/mac_filter.h"
#include "security/mac_filter/mac_filter.h"

using namespace appcfg;
using namespace platform;

namespace {

using Attr = IgdSecMacFiltAttr;
using Rule = IgdSecMacFiltList;

void call_item(const Call<st_macfilter_item>& callee, const MacAddress& mac, uint32_t kind) {
    st_macfilter_item item{};
    format_mac(mac, item.mac);
    item.mac_kind = kind;
    static_cast<void>(call(callee, item));
}

void call_items(const Call<st_macfilter_item>& callee, const Rule& rule) {
    if (rule.destMacAddress != kNoMac) call_item(callee, rule.destMacAddress, kMacKindDestination);
    if (rule.macAddress != kNoMac) call_item(callee, rule.macAddress, kMacKindHost);
}

void set_macfilter_item(const Rule& rule) {
    if (rule.ulEnable != 0) call_items(kMacFilterItemAdd, rule);
}

void del_macfilter_item(const Rule& rule) {
    call_items(kMacFilterItemDel, rule);
}

/// Changes what the request selects of the rule, in the record and in the platform.
void apply(const Rule& request, Rule& rule) {
    const uint32_t bits = request.ulBitmap & Rule::Settable;
    if (bits & Rule::HostPort) {
        rule.ulMACPortBind = request.ulMACPortBind;
        if (rule.ulMACPortBind == 0 && rule.macAddress != kNoMac) del_macfilter_item(rule);
    }
    if (bits & Rule::DestinationPort) {
        rule.ulDestMACPortBind = request.ulDestMACPortBind;
        if (rule.ulDestMACPortBind == 0 && rule.destMacAddress != kNoMac) del_macfilter_item(rule);
    }
    if (bits & Rule::Host) {
        del_macfilter_item(rule);
        rule.macAddress = request.macAddress;
        set_macfilter_item(rule);
    }
    if (bits & Rule::Destination) {
        del_macfilter_item(rule);
        rule.destMacAddress = request.destMacAddress;
        set_macfilter_item(rule);
    }
    if (bits & Rule::Enable && rule.ulEnable != request.ulEnable) {
        rule.ulEnable = request.ulEnable;
        if (rule.ulEnable == 0)
            del_macfilter_item(rule);
        else
            set_macfilter_item(rule);
    }
    rule.ulBitmap |= bits;
}

/// Position of the rule with the request's index or, if that is 0, of the first with one of its
/// addresses; -1 if there is none.
int32_t find_requested(const Rule& request, Rule& rule) {
    return find_row(mac_filter_list_table, rule, [&](const Rule& row) {
        if (request.ulIndex != 0) return row.ulIndex == request.ulIndex;
        return (request.macAddress != kNoMac && request.macAddress == row.macAddress) ||
               (request.destMacAddress != kNoMac && request.destMacAddress == row.destMacAddress);
    });
}

bool read_attributes(const char* operation, Attr& attr) {
    const int32_t lRet = read_row(mac_filter_attr_table, 0, attr);
    if (lRet == 0)
        SECURITY_LOG_AS(operation,
                        "mib_chain_get IGD_SECUR_MAC_FILTER_ATTR_TAB. lRet(0x%0x)\t\n\r\n", lRet);
    return lRet != 0;
}

struct RuleText {
    char text[192];
};

RuleText describe(const Rule& rule) {
    RuleText text;
    sprintf_s(text.text, sizeof(text.text),
              "ulEnable(%u),ulIndex(%u), macAddress(%s), destMacAddress(%s), ulMACPortBind(%u), "
              "ulDestMACPortBind(%u)",
              rule.ulEnable, rule.ulIndex, mac_text(rule.macAddress).text,
              mac_text(rule.destMacAddress).text, rule.ulMACPortBind, rule.ulDestMACPortBind);
    return text;
}

/// Deletes the row that a request means; `rule` becomes what it held, or stays as it is if there is
/// none.
int32_t take_out(const Rule& request, Rule& rule, const char* operation) {
    SECURITY_LOG_AS(operation, "%s\t\n\r\n", describe(request).text);
    Rule row{};
    const int32_t position = find_requested(request, row);
    if (position < 0) {
        SECURITY_LOG_AS(operation, "ulIndex(%u) not need to delete\t\n\r\n", request.ulIndex);
        return 0;
    }
    if (!delete_row(mac_filter_list_table, position)) {
        SECURITY_LOG_AS(operation,
                        "mib_chain_delete IGD_SECUR_MAC_FILTER_LIST_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    rule = row;
    return 0;
}

/// Changes the rule at `position`, which `rule` is, as the request says.
int32_t change(const Rule& request, Rule& rule, int32_t position, const char* operation) {
    apply(request, rule);
    if (write_row(mac_filter_list_table, position, rule)) return 0;
    SECURITY_LOG_AS(
        operation,
        "mib_chain_update IGD_SECUR_MAC_FILTER_LIST_TAB is fail. entry.ulIndex(%u)\t\n\r\n",
        rule.ulIndex);
    return IGD_CM_OPERATE_FAIL;
}

/// Which indexes have been seen. Long lists, made by hand, would take minutes if the row that has
/// an index were looked for each time.
class SeenIndexes {
  public:
    /// True at the first sight of an index; false, too, for those that are too large to remember.
    bool is_first(uint32_t index) {
        if (index >= seen_.size() || seen_[index]) return false;
        seen_[index] = true;
        return true;
    }

  private:
    std::bitset<65536> seen_;
};

}  // namespace

int32_t igdCmSecureMacFilterListAdd(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    SECURITY_LOG("%s\t\n\r\n", describe(*request).text);
    Attr attr{};
    if (!read_attributes(__func__, attr)) return IGD_CM_OPERATE_FAIL;
    if (count_rows(mac_filter_list_table) == kListCapacity) {
        SECURITY_LOG("fail: IGD_CM_OPERATE_FULL(mac_filter_list_table)\t\n\r\n");
        return IGD_CM_OPERATE_FULL;
    }
    Rule rule = *request;
    rule.ulIndex = next_index(mac_filter_list_table, &Rule::ulIndex);
    if (!add_row(mac_filter_list_table, rule)) {
        SECURITY_LOG(
            "mib_chain_add IGD_SECUR_MAC_FILTER_LIST_TAB is fail. entry.ulIndex(%u)\t\n\r\n",
            rule.ulIndex);
        return IGD_CM_OPERATE_FAIL;
    }
    request->ulIndex = rule.ulIndex;
    set_macfilter_item(rule);
    return 0;
}

int32_t igdCmSecureMacFilterListDel(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule rule{};
    const int32_t result = take_out(*request, rule, __func__);
    if (result == 0) del_macfilter_item(rule);
    return result;
}

bool appcfg::delete_mac_rules() {
    constexpr const char* kOperation = "igdCmSecureMacFilterListDel";
    Rule rules[kLargestMacFilterIndex] = {};
    RowsTogether rows(mac_filter_list_table);
    for (uint32_t index = 1; index <= kLargestMacFilterIndex; ++index) {
        Rule request{};
        request.ulIndex = index;
        request.ulBitmap = Rule::All;
        if (take_out(request, rules[index - 1], kOperation) != 0) return false;
    }
    if (!rows.store()) return false;
    for (const Rule& rule : rules)
        del_macfilter_item(rule);
    return true;
}

int32_t igdCmSecureMacFilterListSet(Rule* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (request->ulIndex == 0) {
        SECURITY_LOG("IGD_CM_GLOBAL_INPUT_PARA_ERROR. pIgdSecMacFiltList->ulIndex(%u)\t\n\r\n",
                     request->ulIndex);
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    Attr attr{};
    if (!read_attributes(__func__, attr)) return IGD_CM_OPERATE_FAIL;
    Rule rule;
    const int32_t position =
        find_index(mac_filter_list_table, rule, &Rule::ulIndex, request->ulIndex);
    if (position < 0) {
        SECURITY_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    return change(*request, rule, position, __func__);
}

int32_t igdCmSecureMacFilterListGet(Rule* rule, uint32_t size) {
    if (!is_record(rule, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Rule found;
    if (find_requested(*rule, found) < 0) return IGD_CM_OPERATE_FAIL;
    copy_record(*rule, found);
    return 0;
}

int32_t igdCmSecureMacFilterListEntryNumGet(uint32_t* count, uint32_t size) {
    const int32_t result = report_count(mac_filter_list_table, count, size);
    if (result == 0)
        SECURITY_LOG("igdCmSecureMacFilterListEntryNumGet: entrynum[%d]\t\n\r\n", *count);
    return result;
}

int32_t igdCmSecureMacFilterListGetallIndex(uint32_t* indexes, uint32_t size) {
    return report_indexes(mac_filter_list_table, &Rule::ulIndex, indexes, size);
}

int32_t igdCmSecureMacFilterListInit() {
    Attr attr{};
    if (!read_attributes(__func__, attr)) return IGD_CM_OPERATE_FAIL;
    if (attr.ucMacFilterEnable == 0) {
        SECURITY_LOG("mib_chain_get IGD_SECUR_MAC_FILTER_ATTR_TAB. ucMacFilterEnable(%u)\t\n\r\n",
                     attr.ucMacFilterEnable);
        return 0;
    }
    if (count_rows(mac_filter_list_table) == 0)
        SECURITY_LOG("MAC Filte list table is empty !\r\n\r\n");
    SeenIndexes indexes;
    for_each_row(mac_filter_list_table, [&](Rule& row, int32_t position) {
        const bool first = indexes.is_first(row.ulIndex);
        if (row.macAddress == kNoMac) return;
        SECURITY_LOG_AS("igdCmSecureMacFilterListInit",
                        "ulIndex(%u), macAddress(%s), destMacAddress(%s)\t\n\r\n", row.ulIndex,
                        mac_text(row.macAddress).text, mac_text(row.destMacAddress).text);
        Rule rule = row;
        if (first && row.ulIndex != 0)
            change(row, rule, position, "igdCmSecureMacFilterListSet");
        else
            igdCmSecureMacFilterListSet(&rule, sizeof(rule));
    });
    return 0;
}
