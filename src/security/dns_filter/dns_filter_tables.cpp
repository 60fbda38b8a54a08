#include "security/dns_filter/dns_filter.h"

namespace appcfg {
namespace {

constexpr char kPackage[] = "app_dnsfilter";

using Rule = IgdDnsFilterConfigTab;

constexpr Column kRuleColumns[] = {
    COLUMN(Rule, ucIndex).only_added(),
    COLUMN(Rule, ucEnable).stored_as("ucDnsFilterEnable").bit(Rule::Enable).at_most(1),
    COLUMN(Rule, ucAction).unstored().bit(Rule::Action).at_most(2),
    COLUMN(Rule, ucMode).unstored().bit(Rule::Mode).at_most(1),
    COLUMN(Rule, aucName).unstored().bit(Rule::Name),
    COLUMN(Rule, aucMACAddress).unstored().bit(Rule::Mac),
    COLUMN(Rule, aucDomain).unstored().bit(Rule::Domain),
    COLUMN(Rule, aucHostListName).unstored().bit(Rule::HostList),
    COLUMN(Rule, aucWeekdays).unstored().bit(Rule::Weekdays),
    COLUMN(Rule, aucTime).unstored().bit(Rule::Time),
    FILLER(Rule, aucReserved),
};

using Entry = IgdSecurDnsFilterListTab;

constexpr Column kListColumns[] = {
    COLUMN(Entry, ulIndex).only_added(),
    COLUMN(Entry, aucFilterDomain).only_added().bit(Entry::Domain),
};

}  // namespace

constexpr TableOf<Rule> dns_filter_config_table = make_table<Rule>(
    IGD_DNS_FILTER_CONFIG_TAB, kPackage, "IGD_DNS_FILTER_CONFIG_TAB", kRuleColumns, Rule::Stored);

constexpr TableOf<Entry> dns_filter_list_table =
    make_table<Entry>(IGD_SECUR_DNS_FILTER_LIST_TAB, kPackage, "IGD_SECUR_DNS_FILTER_LIST_TAB",
                      kListColumns, Entry::All);

int32_t register_dns_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        list_table<dns_filter_config_table>,
        list_table<dns_filter_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}

}  // namespace appcfg
