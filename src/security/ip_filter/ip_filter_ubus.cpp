#include "core/method.h"
#include "security/ip_filter/ip_filter.h"
#include "zu_services.h"

namespace {

using Attr = IgdSecurIpFilterAttrTab;
using Rule = IgdSecurIpFilterListTab;

/// Protocol numbers whose only possible bit is this one have no ports: 0 and 4.
constexpr uint8_t kPortlessBit = 1u << 2;
constexpr uint32_t kLargestPort = 65535;

void initialise() {
    zu_sec_ipfilter_init();
    igdCmSecureIPFilterAllInit();
}

void enable_both_directions(Attr& attr) {
    attr.ucDownFilterEnable = attr.ucUpFilterEnable;
}

void widen_ports_without_protocol(Rule& rule) {
    if (rule.ucIPFilterProtocol & ~kPortlessBit) return;
    rule.ulLanPortStart = rule.ulWanPortStart = 0;
    rule.ulLanPortEnd = rule.ulWanPortEnd = kLargestPort;
}

constexpr Argument kAttrArguments[] = {
    ARGUMENT(Attr, ucUpFilterEnable).named("ucIPFilterEnable"),
    ARGUMENT(Attr, ucUpListType).named("ucIPFilterUpMode"),
    ARGUMENT(Attr, ucDownListType).named("ucIPFilterDownMode"),
};

constexpr Argument kIndexArgument[] = {ARGUMENT(Rule, ucIndex).at_most(100)};

constexpr Argument kRuleArguments[] = {
    ARGUMENT(Rule, ucIndex).at_most(100), ARGUMENT(Rule, ucIPFilterDir),
    ARGUMENT(Rule, ucIPFilterProtocol),   ARGUMENT(Rule, aucLanIPStart),
    ARGUMENT(Rule, aucLanIPEnd),          ARGUMENT(Rule, aucWanIPStart),
    ARGUMENT(Rule, aucWanIPEnd),          ARGUMENT(Rule, ulLanPortStart),
    ARGUMENT(Rule, ulLanPortEnd),         ARGUMENT(Rule, ulWanPortStart),
    ARGUMENT(Rule, ulWanPortEnd),
};

constexpr std::span<const Argument> kNewRuleArguments = std::span(kRuleArguments).subspan(1);

constexpr Method kMethods[] = {
    always_ok<initialise>("ip_filter_init"),
    method<igdCmSecureIPFilterAttrSet>("ip_filter_basic_set", kAttrArguments, 27,
                                       "igdCmSecureIPFilterAttrSet error")
        .completed_by<enable_both_directions>(),
    // Front ends compare the text, which names another filter's operation.
    method<igdCmSecureIPFilterListAdd>("ip_filter_list_add", kNewRuleArguments, 1023,
                                       "igdCmSecureUrlFilterListAdd error")
        .completed_by<widen_ports_without_protocol>(),
    method<igdCmSecureIPFilterListDel>("ip_filter_list_del", kIndexArgument, 1023,
                                       "igdCmSecureIPFilterListDel error"),
    method<igdCmSecureIPFilterListSet>("ip_filter_list_set", kRuleArguments, 1023,
                                       "igdCmSecureIPFilterListSet error")
        .completed_by<widen_ports_without_protocol>(),
};

}  // namespace

ubus_object* ip_filter_bus_object() {
    return BusObject<kMethods>::named("app_ipfilter");
}
