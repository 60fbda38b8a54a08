#include "core/method.h"
#include "security/mac_filter/mac_filter.h"
#include "zu_services.h"

namespace {

using Attr = IgdSecMacFiltAttr;
using Rule = IgdSecMacFiltList;

constexpr uint32_t kLargestIndex = 100;
constexpr uint32_t kWholeRule = 63;
constexpr char kListDelFailure[] = "igdCmSecureMacFilterListDel error";

void initialise() {
    init_macfilter();
    igdCmMacFilterModuleInit();
}

Outcome delete_rules() {
    for (uint32_t index = 1; index <= kLargestIndex; ++index) {
        Rule rule{};
        rule.ulIndex = index;
        rule.ulBitmap = kWholeRule;
        const int32_t code = igdCmSecureMacFilterListDel(&rule, sizeof(rule));
        if (code != 0) return {code, kListDelFailure};
    }
    return {};
}

/// A list is made for one mode: it survives only while the filter is on and stays what it was.
Outcome set_basic(Attr& request) {
    Attr before{};
    if (const int32_t code = igdCmSecureMacFilterAttrGet(&before, sizeof(before)); code != 0)
        return {code, "igdCmSecureMacFilterAttrGet error"};
    if (const int32_t code = igdCmSecureMacFilterAttrSet(&request, sizeof(request)); code != 0)
        return {code, "igdCmSecureMacFilterAttrSet error"};
    const bool same = before.ucMacFilterEnable == request.ucMacFilterEnable &&
                      before.ucFilterMode == request.ucFilterMode;
    return same && request.ucMacFilterEnable != 0 ? Outcome{} : delete_rules();
}

constexpr Argument kAttrArguments[] = {
    ARGUMENT(Attr, ucMacFilterEnable),
    ARGUMENT(Attr, ucFilterMode),
};

constexpr Argument kRuleArguments[] = {
    ARGUMENT(Rule, ulIndex).at_most(kLargestIndex),
    ARGUMENT(Rule, ulEnable),
    CODED_ARGUMENT(Rule, macAddress, kMacCodec).named("aucFilterMAC"),
};

constexpr std::span<const Argument> kIndexArgument = std::span(kRuleArguments).first(1);
constexpr std::span<const Argument> kNewRuleArguments = std::span(kRuleArguments).subspan(1);

constexpr Method kMethods[] = {
    always_ok<initialise>("mac_filter_init"),
    method<set_basic>("mac_filter_basic_set", kAttrArguments, 3),
    method<igdCmSecureMacFilterListAdd>("mac_filter_list_add", kNewRuleArguments, 33,
                                        "igdCmSecureMacFilterListAdd error"),
    method<igdCmSecureMacFilterListDel>("mac_filter_list_del", kIndexArgument, kWholeRule,
                                        kListDelFailure),
    method<igdCmSecureMacFilterListSet>("mac_filter_list_set", kRuleArguments, kWholeRule,
                                        "igdCmSecureMacFilterListSet error"),
};

}  // namespace

ubus_object* mac_filter_bus_object() {
    return BusObject<kMethods>::named("app_macfilter");
}
