#include "security/url_filter/url_filter.h"

namespace appcfg {
namespace {

constexpr char kPackage[] = "app_urlfilter";

using Attr = IgdSecurUrlFilterAttrConfTab;

constexpr Column kAttrColumns[] = {
    COLUMN(Attr, ucUrlFilterEnable).bit(Attr::Enable).at_most(1),
    COLUMN(Attr, ucFilterMode).bit(Attr::Mode).at_most(1),
    FILLER(Attr, aucReserved),
};

using Rule = IgdSecurUrlFilterListAttrConfTab;

constexpr Column kRuleColumns[] = {
    COLUMN(Rule, ulReserved).unstored(), COLUMN(Rule, ulIndex),      COLUMN(Rule, enable),
    COLUMN(Rule, protocol_mask),         COLUMN(Rule, aucFilterUrl),
};

using FamilyRule = IgdSecurUrlFilterFamilyListAttrConfTab;

constexpr Column kFamilyRuleColumns[] = {
    COLUMN(FamilyRule, ulReserved).unstored(),
    COLUMN(FamilyRule, ulIndex),
    COLUMN(FamilyRule, enable),
    COLUMN(FamilyRule, protocol_mask),
    COLUMN(FamilyRule, aucFilterUrl),
    COLUMN(FamilyRule, aucMacAddress),
    FILLER(FamilyRule, aucReserved),
    COLUMN(FamilyRule, family_group),
    FILLER(FamilyRule, usReserved),
};

}  // namespace

constexpr TableOf<Attr> url_filter_attr_table =
    make_table<Attr>(IGD_SECUR_URL_FILTER_ATTR_TAB, kPackage, "IGD_SECUR_URL_FILTER_ATTR_TAB",
                     kAttrColumns, Attr::All);

constexpr TableOf<Rule> url_filter_list_table =
    make_table<Rule>(IGD_SECUR_URL_FILTER_LIST_TAB, kPackage, "IGD_SECUR_URL_FILTER_LIST_TAB",
                     kRuleColumns, Rule::All);

constexpr TableOf<FamilyRule> url_filter_family_list_table = make_table<FamilyRule>(
    IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB, kPackage, "IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB",
    kFamilyRuleColumns, FamilyRule::All);

int32_t register_url_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<url_filter_attr_table>,
        list_table<url_filter_list_table>,
        list_table<url_filter_family_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}

}  // namespace appcfg
