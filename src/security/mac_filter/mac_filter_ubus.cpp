#include "core/bus_object.h"
#include "security/mac_filter/mac_filter.h"

namespace appcfg {
namespace {

using Attr = IgdSecMacFiltAttr;
using Rule = IgdSecMacFiltList;

constexpr Argument kAttrArguments[] = {
    ARGUMENT(Attr, ucMacFilterEnable),
    ARGUMENT(Attr, ucFilterMode),
};

constexpr Argument kRuleArguments[] = {
    ARGUMENT(Rule, ulIndex).at_most(kLargestMacFilterIndex),
    ARGUMENT(Rule, ulEnable),
    CODED_ARGUMENT(Rule, macAddress, kMacCodec).named("aucFilterMAC"),
};

constexpr std::span<const Argument> kIndexArgument = std::span(kRuleArguments).first(1);
constexpr std::span<const Argument> kNewRuleArguments = std::span(kRuleArguments).subspan(1);

constexpr Method kMethods[] = {
    method<mac_filter_restart>("mac_filter_init"),
    method<set_mac_filter>("mac_filter_basic_set", kAttrArguments, Attr::All),
    method<igdCmSecureMacFilterListAdd>("mac_filter_list_add", kNewRuleArguments, Rule::Stored,
                                        "igdCmSecureMacFilterListAdd error"),
    method<igdCmSecureMacFilterListDel>("mac_filter_list_del", kIndexArgument, Rule::All,
                                        kMacListDelFailure),
    method<igdCmSecureMacFilterListSet>("mac_filter_list_set", kRuleArguments, Rule::All,
                                        "igdCmSecureMacFilterListSet error"),
};

BUS_OBJECT(object, "app_macfilter", kMethods);

}  // namespace

ubus_object* mac_filter_bus_object() {
    return &object;
}

}  // namespace appcfg
