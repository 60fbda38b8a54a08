#include "security/ip_filter/ip_filter.h"

namespace {

constexpr char kPackage[] = "app_ipfilter";

using Attr = IgdSecurIpFilterAttrTab;

constexpr Column kAttrColumns[] = {
    COLUMN(Attr, ulReserved).unstored(),
    COLUMN(Attr, ucUpFilterEnable).stored_as("ucIPFilterEnable").bit(0).at_most(1),
    COLUMN(Attr, ucUpListType).stored_as("ucIPFilterUpMode").bit(1).at_most(1),
    COLUMN(Attr, ucDirFlag).unstored().bit(2).at_most(1),
    COLUMN(Attr, ucDownFilterEnable).stored_as("ucIPFilterEnable").only_read().bit(3).at_most(1),
    COLUMN(Attr, ucDownListType).stored_as("ucIPFilterDownMode").bit(4).at_most(1),
    FILLER(Attr, aucReserved),
};

using Rule = IgdSecurIpFilterListTab;

constexpr Column kRuleColumns[] = {
    COLUMN(Rule, ucIndex),
    COLUMN(Rule, ucIPFilterDir).bit(9),
    COLUMN(Rule, ucIPFilterProtocol).bit(0),
    COLUMN(Rule, aucLanIPStart).bit(1),
    COLUMN(Rule, aucLanIPEnd).bit(2),
    COLUMN(Rule, aucWanIPStart).bit(3),
    COLUMN(Rule, aucWanIPEnd).bit(4),
    FILLER(Rule, aucReserved),
    COLUMN(Rule, ulLanPortStart).bit(5),
    COLUMN(Rule, ulLanPortEnd).bit(6),
    COLUMN(Rule, ulWanPortStart).bit(7),
    COLUMN(Rule, ulWanPortEnd).bit(8),
};

}  // namespace

constexpr Table ip_filter_attr_table = make_table<Attr>(
    IGD_SECUR_IP_FILTER_ATTR_TAB, kPackage, "IGD_SECUR_IP_FILTER_ATTR_TAB", kAttrColumns, 27);

constexpr Table ip_filter_list_table = make_table<Rule>(
    IGD_SECUR_IP_FILTER_LIST_TAB, kPackage, "IGD_SECUR_IP_FILTER_LIST_TAB", kRuleColumns, 1023);

int32_t register_ip_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<ip_filter_attr_table>,
        list_table<ip_filter_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}
