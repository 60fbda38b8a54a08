#include <unistd.h>

#include "core/bounded.h"
#include "core/method.h"
#include "core/result.h"
#include "security/dns_filter/dns_filter.h"
#include "security/dns_filter/dns_filter_testing.h"
#include "security/dns_filter/host_list_file.h"

namespace {

using Entry = IgdSecurDnsFilterListTab;
using Rule = IgdDnsFilterConfigTab;

void initialise() {
    igdCmDnsFilterConfigInit();
    igdCmSecureDnsFilterListInit();
}

Rule list_rule(uint8_t enable) {
    Rule rule;
    zero(rule);
    rule.ucIndex = kDnsListRule;
    rule.ucEnable = enable;
    return rule;
}

/// A rule that does not exist is as good as deleted.
Outcome clear_rule_and_list() {
    Rule rule = list_rule(0);
    if (igdCmDnsFilterConfigDel(&rule, sizeof(rule)) == IGD_CM_OPERATE_FAIL)
        return {IGD_CM_OPERATE_FAIL, "igdCmDnsFilterConfigDel error"};
    if (igdCmSecureDnsFilterListDelAll() == IGD_CM_OPERATE_FAIL)
        return {IGD_CM_OPERATE_FAIL, "igdCmSecureDnsFilterListDelAll error"};
    return {};
}

Outcome switch_on() {
    if (!HostListFile(dns_filter_files.host_list).publish())
        return {0, "open/create new file /tmp/cgi_dnsfilter failed"};
    if (const Outcome cleared = clear_rule_and_list(); cleared.reason) return cleared;
    Rule rule = list_rule(1);
    const int32_t added = igdCmDnsFilterConfigAdd(&rule, sizeof(rule));
    return {added, added == 0 ? nullptr : "igdCmDnsFilterConfigAdd error"};
}

Outcome switch_off() {
    unlink(dns_filter_files.host_list);
    return clear_rule_and_list();
}

/// Each switch empties the list: front ends give their domains anew after switching on.
Outcome switch_filter(Rule& wanted) {
    Rule current = list_rule(0);
    if (igdCmDnsFilterConfigGet(&current, sizeof(current)) == IGD_CM_OPERATE_FAIL)
        return {IGD_CM_OPERATE_FAIL, "igdCmDnsFilterConfigGet error"};
    if (current.ucEnable == wanted.ucEnable || wanted.ucEnable > 1) return {};
    return wanted.ucEnable == 1 ? switch_on() : switch_off();
}

constexpr Argument kSwitchArguments[] = {ARGUMENT(Rule, ucEnable).named("ucDnsFilterEnable")};
constexpr Argument kDomainArgument[] = {ARGUMENT(Entry, aucFilterDomain).or_cut()};
constexpr Argument kIndexArgument[] = {ARGUMENT(Entry, ulIndex)};

constexpr Method kMethods[] = {
    always_ok<initialise>("dns_filter_init"),
    method<switch_filter>("dns_filter_basic_set", kSwitchArguments, kDnsRuleEnable),
    method<igdCmSecureDnsFilterListAdd>("dns_filter_list_add", kDomainArgument, 1,
                                        "igdCmSecureDnsFilterListAdd error"),
    method<igdCmSecureDnsFilterListDel>("dns_filter_list_del", kIndexArgument, 65535,
                                        "igdCmSecureDnsFilterListDel error"),
};

}  // namespace

ubus_object* dns_filter_bus_object() {
    return BusObject<kMethods>::named("app_dnsfilter");
}
