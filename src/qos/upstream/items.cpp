#include <cstring>

#include "core/bounded.h"
#include "core/record_log.h"
#include "core/row_queries.h"
#include "qos/flows/direction.h"
#include "qos/flows/distribution.h"
#include "qos/qos.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

/// Of `ucEnable8021p`: items write their 802.1p value.
constexpr uint32_t kRemarkItems = 2;

int32_t find_item(uint32_t index, Item& item) {
    return find_index(item_table, item, &Item::index, index);
}

/// 1 IPv4, 2 IPv6, 0 for a text that is no address.
template <size_t Size>
int32_t family_of(const char (&text)[Size]) {
    return strnlen(text, Size) < Size ? igdCmQosIpAddrFormatAchieve(text) : 0;
}

/// True if all addresses and masks that are given make sense together.
bool are_addresses(const Item& item) {
    int32_t family = -1;
    for (const auto* text : {&item.srcIp, &item.srcMask, &item.dstIp, &item.dstMask}) {
        if ((*text)[0] == '\0') continue;
        const int32_t own = family_of(*text);
        if (own == 0 || (family > 0 && own != family)) return false;
        family = own;
    }
    return true;
}

bool is_in_range(const Item& request, const Item& merged) {
    return selected_in_range(item_table, request) && are_addresses(merged);
}

/// Items that are changed while QoS is on are told to the platform at once; a refusal is false.
class Items {
  public:
    Items() { static_cast<void>(upstream.read_settings(settings_)); }

    bool put_into_force(const Item& item) const { return tell(item, 1); }
    bool take_back(const Item& item) const { return tell(item, 0); }

  private:
    bool tell(const Item& item, uint32_t enable) const {
        return settings_.enabled != 1 ||
               igdCmQosItemAttrSalSet(item, enable, settings_.dscp_mark,
                                      settings_.mark_8021p == kRemarkItems) == 0;
    }

    Settings settings_{};
};

zu_qos_item_attr_s record_of(const Item& item) {
    zu_qos_item_attr_s record;
    zero(record);
    record.index = item.index;
    cut_text(record.name, item.name);
    record.priority = item.priority;
    record.dscp = item.dscp;
    record.vlan8021p = item.vlan8021p;
    cut_text(record.protocol, item.protocol);
    cut_text(record.srcIp, item.srcIp);
    cut_text(record.srcMask, item.srcMask);
    cut_text(record.srcPort, item.srcPort);
    cut_text(record.dstIp, item.dstIp);
    cut_text(record.dstMask, item.dstMask);
    cut_text(record.dstPort, item.dstPort);
    cut_text(record.srcMac, item.srcMac);
    cut_text(record.dstMac, item.dstMac);
    return record;
}

}  // namespace

int32_t igdCmQosItemAttrAdd(Item* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Item row{};
    merge_selected(item_table, row, *request);
    if (!is_in_range(*request, row)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    row.index = lowest_free_index(item_table, &Item::index, kMostItems);
    if (count_rows(item_table) >= static_cast<int32_t>(kMostItems) || row.index == 0) {
        QOS_LOG("QoS item tab is full !\r\n\r\n");
        return IGD_CM_OPERATE_FULL;
    }
    const Items items;
    if (!items.put_into_force(row)) return IGD_CM_OPERATE_FAIL;
    if (!add_row(item_table, row)) {
        static_cast<void>(items.take_back(row));
        return IGD_CM_OPERATE_FAIL;
    }
    request->index = row.index;
    return 0;
}

int32_t igdCmQosItemAttrSet(Item* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Item old{};
    const int32_t position = find_item(request->index, old);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    Item merged = old;
    merge_selected(item_table, merged, *request);
    if (!is_in_range(*request, merged)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    const Items items;
    if (!items.take_back(old)) return IGD_CM_OPERATE_FAIL;
    if (items.put_into_force(merged))
        return write_row(item_table, position, merged) ? 0 : IGD_CM_OPERATE_FAIL;
    static_cast<void>(items.put_into_force(old));
    return IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosItemAttrDel(Item* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Item item{};
    const int32_t position = find_item(request->index, item);
    if (position < 0 || !Items().take_back(item)) return IGD_CM_OPERATE_FAIL;
    return delete_row(item_table, position) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosItemAttrGet(Item* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Item item{};
    if (find_item(request->index, item) < 0) return IGD_CM_OPERATE_FAIL;
    copy_record(*request, item);
    return 0;
}

int32_t igdCmQosItemEntryNumGet(uint32_t* count, uint32_t size) {
    return report_count(item_table, count, size);
}

int32_t igdCmQosItemsAttrCtrl(uint32_t enable, uint32_t dscp_mark, uint32_t remark_8021p) {
    QOS_LOG("qos Item lTotalNum [%d].\r\n\r\n", count_rows(item_table));
    constexpr const char* operation = __func__;
    int32_t lRet = 0;
    for_each_row(item_table, [&](const Item& item, int32_t position) {
        lRet = igdCmQosItemAttrSalSet(item, enable, dscp_mark, remark_8021p);
        if (lRet != 0)
            QOS_LOG_AS(operation, "igdCmQosItemsAttrCtrl %d excute error 0x%x.\r\n\r\n", position,
                       static_cast<uint32_t>(lRet));
    });
    return lRet;
}

int32_t igdCmQosItemAttrSalSet(const Item& item, uint32_t enable, uint32_t dscp_mark,
                               uint32_t remark_8021p) {
    zu_qos_item_attr_s record = record_of(item);
    record.dscp_mark = dscp_mark;
    record.remark_8021p = remark_8021p;
    LOG_BANNER(kQosLog, __func__, kQosItemLayout.name, "info set start");
    log_fields(kQosLog, __func__, __LINE__, "st_qos_item_attr", kQosItemLayout.fields, &record);
    LOG_BANNER(kQosLog, __func__, kQosItemLayout.name, "info set end");
    return call(enable == 1 ? kQosItemSet : kQosItemDel, record);
}
