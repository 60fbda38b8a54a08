#include <unistd.h>

#include "core/bounded.h"
#include "core/result.h"
#include "security/dns_filter/dns_filter.h"
#include "security/dns_filter/dns_filter_testing.h"
#include "security/dns_filter/host_list_file.h"

namespace appcfg {
namespace {

using Rule = IgdDnsFilterConfigTab;

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
    if (const Outcome cleared = clear_rule_and_list(); !cleared.ok()) return cleared;
    Rule rule = list_rule(1);
    return Outcome::of(igdCmDnsFilterConfigAdd(&rule, sizeof(rule)),
                       "igdCmDnsFilterConfigAdd error");
}

Outcome switch_off() {
    unlink(dns_filter_files.host_list);
    return clear_rule_and_list();
}

}  // namespace

Outcome switch_dns_filter(Rule& wanted) {
    Rule current = list_rule(0);
    if (igdCmDnsFilterConfigGet(&current, sizeof(current)) == IGD_CM_OPERATE_FAIL)
        return {IGD_CM_OPERATE_FAIL, "igdCmDnsFilterConfigGet error"};
    if (current.ucEnable == wanted.ucEnable || wanted.ucEnable > 1) return {};
    return wanted.ucEnable == 1 ? switch_on() : switch_off();
}

void dns_filter_replay() {
    igdCmDnsFilterConfigInit();
    igdCmSecureDnsFilterListInit();
}

}  // namespace appcfg
