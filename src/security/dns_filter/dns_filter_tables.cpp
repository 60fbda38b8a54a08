#include "security/dns_filter/dns_filter.h"

namespace {

constexpr char kPackage[] = "app_dnsfilter";

using Rule = IgdDnsFilterConfigTab;

constexpr Column kRuleColumns[] = {
    COLUMN(Rule, ucIndex).only_added(),
    COLUMN(Rule, ucEnable).stored_as("ucDnsFilterEnable").bit(0).at_most(1),
    COLUMN(Rule, ucAction).unstored().bit(3).at_most(2),
    COLUMN(Rule, ucMode).unstored().bit(5).at_most(1),
    COLUMN(Rule, aucName).unstored().bit(4),
    COLUMN(Rule, aucMACAddress).unstored().bit(1),
    COLUMN(Rule, aucDomain).unstored().bit(2),
    COLUMN(Rule, aucHostListName).unstored().bit(6),
    COLUMN(Rule, aucWeekdays).unstored().bit(7),
    COLUMN(Rule, aucTime).unstored().bit(8),
    FILLER(Rule, aucReserved),
};

using Entry = IgdSecurDnsFilterListTab;

constexpr Column kListColumns[] = {
    COLUMN(Entry, ulIndex).only_added(),
    COLUMN(Entry, aucFilterDomain).only_added().bit(0),
};

}  // namespace

constexpr Table dns_filter_config_table = make_table<Rule>(
    IGD_DNS_FILTER_CONFIG_TAB, kPackage, "IGD_DNS_FILTER_CONFIG_TAB", kRuleColumns, 3);

constexpr Table dns_filter_list_table = make_table<Entry>(
    IGD_SECUR_DNS_FILTER_LIST_TAB, kPackage, "IGD_SECUR_DNS_FILTER_LIST_TAB", kListColumns, 65535);

int32_t register_dns_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        list_table<dns_filter_config_table>,
        list_table<dns_filter_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}
