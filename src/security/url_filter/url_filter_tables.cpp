#include "security/url_filter/url_filter.h"

namespace {

constexpr char kPackage[] = "app_urlfilter";

using Attr = IgdSecurUrlFilterAttrConfTab;

constexpr Column kAttrColumns[] = {
    COLUMN(Attr, ucUrlFilterEnable).bit(0).at_most(1),
    COLUMN(Attr, ucFilterMode).bit(1).at_most(1),
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

constexpr Table url_filter_attr_table = make_table<Attr>(
    IGD_SECUR_URL_FILTER_ATTR_TAB, kPackage, "IGD_SECUR_URL_FILTER_ATTR_TAB", kAttrColumns, 3);

constexpr Table url_filter_list_table = make_table<Rule>(
    IGD_SECUR_URL_FILTER_LIST_TAB, kPackage, "IGD_SECUR_URL_FILTER_LIST_TAB", kRuleColumns, 7);

constexpr Table url_filter_family_list_table =
    make_table<FamilyRule>(IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB, kPackage,
                           "IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB", kFamilyRuleColumns, 31);

int32_t register_url_filter_tables() {
    static constexpr TableDescriptor kDescriptors[] = {
        single_row_table<url_filter_attr_table>,
        list_table<url_filter_list_table>,
        list_table<url_filter_family_list_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}
