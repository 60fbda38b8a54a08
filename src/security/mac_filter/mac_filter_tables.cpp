#include "security/mac_filter/mac_filter.h"

namespace {

constexpr char kPackage[] = "app_macfilter";

using Attr = IgdSecMacFiltAttr;

constexpr Column kAttrColumns[] = {
    COLUMN(Attr, ulForce).unstored(),
    COLUMN(Attr, ucMacFilterEnable).bit(0).at_most(1),
    COLUMN(Attr, ucFilterMode).bit(1).at_most(1),
    FILLER(Attr, aucReserved),
};

using Rule = IgdSecMacFiltList;

constexpr Column kRuleColumns[] = {
    COLUMN(Rule, ulReserved).unstored(),
    COLUMN(Rule, ulEnable),
    COLUMN(Rule, ulIndex),
    CODED_COLUMN(Rule, macAddress, kMacCodec).stored_as("aucFilterMAC"),
    FILLER(Rule, destMacAddress),
    COLUMN(Rule, ulMACPortBind).unstored(),
    COLUMN(Rule, ulDestMACPortBind).unstored(),
    COLUMN(Rule, ulReserved2).unstored(),
};

}  // namespace

constexpr Table mac_filter_attr_table = make_table<Attr>(
    IGD_SECUR_MAC_FILTER_ATTR_TAB, kPackage, "IGD_SECUR_MAC_FILTER_ATTR_TAB", kAttrColumns, 3);

constexpr Table mac_filter_list_table = make_table<Rule>(
    IGD_SECUR_MAC_FILTER_LIST_TAB, kPackage, "IGD_SECUR_MAC_FILTER_LIST_TAB", kRuleColumns, 33);

int32_t register_mac_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<mac_filter_attr_table>,
        list_table<mac_filter_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}
