#include "core/bus_object.h"
#include "security/ip_filter/ip_filter.h"

namespace appcfg {
namespace {

using Attr = IgdSecurIpFilterAttrTab;
using Rule = IgdSecurIpFilterListTab;

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
    method<ip_filter_restart>("ip_filter_init"),
    method<igdCmSecureIPFilterAttrSet>("ip_filter_basic_set", kAttrArguments, Attr::Stored,
                                       "igdCmSecureIPFilterAttrSet error")
        .completed_by<enable_both_directions>(),
    // Front ends compare the text, which names another filter's operation.
    method<igdCmSecureIPFilterListAdd>("ip_filter_list_add", kNewRuleArguments, Rule::All,
                                       "igdCmSecureUrlFilterListAdd error")
        .completed_by<widen_ports_without_protocol>(),
    method<igdCmSecureIPFilterListDel>("ip_filter_list_del", kIndexArgument, Rule::All,
                                       "igdCmSecureIPFilterListDel error"),
    method<igdCmSecureIPFilterListSet>("ip_filter_list_set", kRuleArguments, Rule::All,
                                       "igdCmSecureIPFilterListSet error")
        .completed_by<widen_ports_without_protocol>(),
};

BUS_OBJECT(object, "app_ipfilter", kMethods);

}  // namespace

ubus_object* ip_filter_bus_object() {
    return &object;
}

}  // namespace appcfg
