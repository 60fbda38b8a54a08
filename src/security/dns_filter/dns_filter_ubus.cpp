#include "core/bus_object.h"
#include "security/dns_filter/dns_filter.h"

namespace appcfg {
namespace {

using Entry = IgdSecurDnsFilterListTab;
using Rule = IgdDnsFilterConfigTab;

constexpr Argument kSwitchArguments[] = {ARGUMENT(Rule, ucEnable).named("ucDnsFilterEnable")};
constexpr Argument kDomainArgument[] = {ARGUMENT(Entry, aucFilterDomain).or_cut()};
constexpr Argument kIndexArgument[] = {ARGUMENT(Entry, ulIndex)};

constexpr Method kMethods[] = {
    method<dns_filter_replay>("dns_filter_init"),
    method<switch_dns_filter>("dns_filter_basic_set", kSwitchArguments, Rule::Enable),
    method<igdCmSecureDnsFilterListAdd>("dns_filter_list_add", kDomainArgument, Entry::Domain,
                                        "igdCmSecureDnsFilterListAdd error"),
    method<igdCmSecureDnsFilterListDel>("dns_filter_list_del", kIndexArgument, Entry::All,
                                        "igdCmSecureDnsFilterListDel error"),
};

BUS_OBJECT(object, "app_dnsfilter", kMethods);

}  // namespace

ubus_object* dns_filter_bus_object() {
    return &object;
}

}  // namespace appcfg
