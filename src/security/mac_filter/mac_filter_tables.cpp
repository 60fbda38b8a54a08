#include "security/mac_filter/mac_filter.h"

namespace appcfg {
namespace {

constexpr char kPackage[] = "app_macfilter";

using Attr = IgdSecMacFiltAttr;

constexpr Column kAttrColumns[] = {
    COLUMN(Attr, ulForce).unstored(),
    COLUMN(Attr, ucMacFilterEnable).bit(Attr::Enable).at_most(1),
    COLUMN(Attr, ucFilterMode).bit(Attr::Mode).at_most(1),
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

constexpr TableOf<Attr> mac_filter_attr_table =
    make_table<Attr>(IGD_SECUR_MAC_FILTER_ATTR_TAB, kPackage, "IGD_SECUR_MAC_FILTER_ATTR_TAB",
                     kAttrColumns, Attr::All);

constexpr TableOf<Rule> mac_filter_list_table =
    make_table<Rule>(IGD_SECUR_MAC_FILTER_LIST_TAB, kPackage, "IGD_SECUR_MAC_FILTER_LIST_TAB",
                     kRuleColumns, Rule::Stored);

int32_t register_mac_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<mac_filter_attr_table>,
        list_table<mac_filter_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}

}  // namespace appcfg
