#include "security/ip_filter/ip_filter.h"

namespace appcfg {
namespace {

constexpr char kPackage[] = "app_ipfilter";

using Attr = IgdSecurIpFilterAttrTab;

constexpr Column kAttrColumns[] = {
    COLUMN(Attr, ulReserved).unstored(),
    COLUMN(Attr, ucUpFilterEnable).stored_as("ucIPFilterEnable").bit(Attr::UpEnable).at_most(1),
    COLUMN(Attr, ucUpListType).stored_as("ucIPFilterUpMode").bit(Attr::UpListType).at_most(1),
    COLUMN(Attr, ucDirFlag).unstored().bit(Attr::DirFlag).at_most(1),
    COLUMN(Attr, ucDownFilterEnable)
        .stored_as("ucIPFilterEnable")
        .only_read()
        .bit(Attr::DownEnable)
        .at_most(1),
    COLUMN(Attr, ucDownListType).stored_as("ucIPFilterDownMode").bit(Attr::DownListType).at_most(1),
    FILLER(Attr, aucReserved),
};

using Rule = IgdSecurIpFilterListTab;

constexpr Column kRuleColumns[] = {
    COLUMN(Rule, ucIndex),
    COLUMN(Rule, ucIPFilterDir).bit(Rule::Direction),
    COLUMN(Rule, ucIPFilterProtocol).bit(Rule::Protocol),
    COLUMN(Rule, aucLanIPStart).bit(Rule::LanIpStart),
    COLUMN(Rule, aucLanIPEnd).bit(Rule::LanIpEnd),
    COLUMN(Rule, aucWanIPStart).bit(Rule::WanIpStart),
    COLUMN(Rule, aucWanIPEnd).bit(Rule::WanIpEnd),
    FILLER(Rule, aucReserved),
    COLUMN(Rule, ulLanPortStart).bit(Rule::LanPortStart),
    COLUMN(Rule, ulLanPortEnd).bit(Rule::LanPortEnd),
    COLUMN(Rule, ulWanPortStart).bit(Rule::WanPortStart),
    COLUMN(Rule, ulWanPortEnd).bit(Rule::WanPortEnd),
};

}  // namespace

constexpr TableOf<Attr> ip_filter_attr_table =
    make_table<Attr>(IGD_SECUR_IP_FILTER_ATTR_TAB, kPackage, "IGD_SECUR_IP_FILTER_ATTR_TAB",
                     kAttrColumns, Attr::Stored);

constexpr TableOf<Rule> ip_filter_list_table =
    make_table<Rule>(IGD_SECUR_IP_FILTER_LIST_TAB, kPackage, "IGD_SECUR_IP_FILTER_LIST_TAB",
                     kRuleColumns, Rule::All);

int32_t register_ip_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<ip_filter_attr_table>,
        list_table<ip_filter_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}

}  // namespace appcfg
