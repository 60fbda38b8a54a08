#include "core/bus_object.h"
#include "security/url_filter/url_filter.h"

namespace appcfg {
namespace {

using Attr = IgdSecurUrlFilterAttrConfTab;
using Rule = IgdSecurUrlFilterListAttrConfTab;
using FamilyRule = IgdSecurUrlFilterFamilyListAttrConfTab;

constexpr Argument kAttrArguments[] = {
    ARGUMENT(Attr, ucUrlFilterEnable),
    ARGUMENT(Attr, ucFilterMode),
};

constexpr Argument kRuleArguments[] = {
    ARGUMENT(Rule, ulIndex).at_most(kLargestUrlFilterIndex),
    ARGUMENT(Rule, enable),
    ARGUMENT(Rule, protocol_mask),
    ARGUMENT(Rule, aucFilterUrl),
};

constexpr std::span<const Argument> kIndexArgument = std::span(kRuleArguments).first(1);
constexpr std::span<const Argument> kNewRuleArguments = std::span(kRuleArguments).subspan(1);

constexpr Argument kNewFamilyRuleArguments[] = {
    ARGUMENT(FamilyRule, enable),       ARGUMENT(FamilyRule, protocol_mask),
    ARGUMENT(FamilyRule, aucFilterUrl), ARGUMENT(FamilyRule, aucMacAddress).named("mac_address"),
    ARGUMENT(FamilyRule, family_group),
};

constexpr Argument kFamilyIndexArgument[] = {
    ARGUMENT(FamilyRule, ulIndex).at_most(kLargestUrlFilterIndex)};
constexpr Argument kGroupArgument[] = {ARGUMENT(FamilyRule, family_group)};

constexpr Method kMethods[] = {
    method<url_filter_restart>("url_filter_init"),
    method<igdCmSecureUrlFilterAttrSet>("url_filter_basic_set", kAttrArguments, Attr::All,
                                        "igdCmSecureUrlFilterAttrSet error"),
    method<igdCmSecureUrlFilterListAdd>("url_filter_list_add", kNewRuleArguments, Rule::All,
                                        "igdCmSecureUrlFilterListAdd error"),
    method<igdCmSecureUrlFilterListDel>("url_filter_list_del", kIndexArgument, Rule::All,
                                        "igdCmSecureUrlFilterListDel error"),
    method<igdCmSecureUrlFilterListSet>("url_filter_list_set", kRuleArguments, Rule::All,
                                        "igdCmSecureUrlFilterListSet error"),
    method<igdCmSecureUrlFilterFamilyListAdd>("url_filter_family_group_mac_add",
                                              kNewFamilyRuleArguments, FamilyRule::All,
                                              "igdCmSecureUrlFilterFamilyListAdd error"),
    method<igdCmSecureUrlFilterFamilyListDel>("url_filter_family_group_mac_del",
                                              kFamilyIndexArgument, FamilyRule::All,
                                              "igdCmSecureUrlFilterFamilyListDel error"),
    method<igdCmSecureUrlFilterFamilyGroupAllDel>("url_filter_family_group_all_mac_del",
                                                  kGroupArgument, FamilyRule::All,
                                                  "igdCmSecureUrlFilterFamilyGroupAllDel error"),
};

BUS_OBJECT(object, "app_urlfilter", kMethods);

}  // namespace

ubus_object* url_filter_bus_object() {
    return &object;
}

}  // namespace appcfg
