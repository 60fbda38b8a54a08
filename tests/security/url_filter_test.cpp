#include "security/url_filter/url_filter.h"

#include <cstring>

#include "records/url_filter.h"
#include "support/module_test.h"

using namespace appcfg;

namespace {

using recording_platform::refuse;
using Rule = IgdSecurUrlFilterListAttrConfTab;
using FamilyRule = IgdSecurUrlFilterFamilyListAttrConfTab;

constexpr int kBadInput = 268435457;

struct UrlFilterTest : ModuleTest {
    UrlFilterTest() : ModuleTest(register_url_filter_tables) {}

    /// Rules with these URLs on both lists, their calls forgotten.
    static void fill(std::initializer_list<const char*> urls) {
        for (const char* url : urls) {
            Rule rule{.enable = 1, .protocol_mask = 2, .ulBitmap = Rule::All};
            FamilyRule family{.enable = 1, .family_group = 1, .ulBitmap = FamilyRule::All};
            std::strcpy(rule.aucFilterUrl, url);
            std::strcpy(family.aucFilterUrl, url);
            ASSERT_EQ(igdCmSecureUrlFilterListAdd(&rule, sizeof(rule)), 0);
            ASSERT_EQ(igdCmSecureUrlFilterFamilyListAdd(&family, sizeof(family)), 0);
        }
        calls();
    }
};

TEST_F(UrlFilterTest, OnlySelectedAttributesAreTakenOver) {
    IgdSecurUrlFilterAttrConfTab mode_only{200, 1, {}, 2};
    EXPECT_EQ(igdCmSecureUrlFilterAttrSet(&mode_only, sizeof(mode_only)), 0);
    EXPECT_EQ(recording_platform::take()[0].words(), (std::vector<uint32_t>{0, 1}));
    EXPECT_EQ(igdCmSecureUrlFilterAttrGet(&mode_only, sizeof(mode_only)), 0);
    EXPECT_EQ(mode_only.ucUrlFilterEnable, 0);
}

TEST_F(UrlFilterTest, EveryChangeIsThePlatformsBeforeItIsStored) {
    fill({"a"});
    const auto before = read_package("app_urlfilter");
    IgdSecurUrlFilterAttrConfTab attr{1, 1, {}, 3};
    Rule rule{.ulIndex = 1, .aucFilterUrl = "b"};
    FamilyRule family{.ulIndex = 1, .aucFilterUrl = "b"};
    refuse(platform::kUrlFilterSet.name, 5);
    refuse(platform::kUrlAddressSet.name, 5);
    refuse(platform::kUrlAddressDelete.name, 5);
    EXPECT_EQ(igdCmSecureUrlFilterAttrSet(&attr, sizeof(attr)), -1);
    EXPECT_EQ(igdCmSecureUrlFilterListAdd(&rule, sizeof(rule)), -1);
    EXPECT_EQ(igdCmSecureUrlFilterListSet(&rule, sizeof(rule)), -1);
    EXPECT_EQ(igdCmSecureUrlFilterListDel(&rule, sizeof(rule)), -1);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListAdd(&family, sizeof(family)), -1);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListDel(&family, sizeof(family)), -1);
    EXPECT_EQ(calls().size(), 6u);
    EXPECT_EQ(read_package("app_urlfilter"), before);
    recording_platform::reset();
    refuse(platform::kUrlAddressDelete.name);
    EXPECT_EQ(igdCmSecureUrlFilterListSet(&rule, sizeof(rule)), -1);
    EXPECT_NE(read_package("app_urlfilter"), before);
}

TEST_F(UrlFilterTest, UnselectedMembersTakeDefaults) {
    FamilyRule family{.protocol_mask = 8, .aucFilterUrl = "a", .ulBitmap = 2};
    ASSERT_EQ(igdCmSecureUrlFilterFamilyListAdd(&family, sizeof(family)), 0);
    EXPECT_EQ(recording_platform::take()[0].record[0], 1);
    EXPECT_EQ(family.protocol_mask, 8u);
    Rule empty{};
    ASSERT_EQ(igdCmSecureUrlFilterListAdd(&empty, sizeof(empty)), 0);
    EXPECT_EQ(empty.enable + empty.protocol_mask, 0u);
    ASSERT_EQ(igdCmSecureUrlFilterListSet(&empty, sizeof(empty)), 0);
    EXPECT_EQ(empty.enable, 1u);
    EXPECT_EQ(empty.protocol_mask, 3u);
}

TEST_F(UrlFilterTest, WholeListsAreGoneThroughThoughThePlatformRefuses) {
    fill({"a", "b", "c"});
    refuse(platform::kUrlAddressSet.name);
    EXPECT_EQ(igdCmSecureUrlFilterListInit(), 0);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListInit(), -1);
    refuse(platform::kUrlAddressDelete.name, -1, 1);  // all but the first
    FamilyRule group{.family_group = 1};
    EXPECT_EQ(igdCmSecureUrlFilterFamilyGroupAllDel(&group, sizeof(group)), -1);
    EXPECT_EQ(calls().size(), 9u);
    EXPECT_EQ(mib_chain_total(IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB), 0);
    write_package("app_urlfilter",
                  "config IGD_SECUR_URL_FILTER_ATTR_TAB\n\toption ucFilterMode '5'\n");
    EXPECT_EQ(igdCmSecureUrlFilterAttrInit(), kBadInput);
}

TEST_F(UrlFilterTest, QueriesAnswerFromTheTables) {
    fill({"a", "b", "c"});
    Rule second{.ulIndex = 2};
    ASSERT_EQ(igdCmSecureUrlFilterListDel(&second, sizeof(second)), 0);
    uint32_t indexes[] = {9, 9, 9};
    EXPECT_EQ(igdCmSecureUrlFilterListGetallIndex(indexes, 7), -1);
    ASSERT_EQ(igdCmSecureUrlFilterListGetallIndex(indexes, 8), 0);
    EXPECT_EQ(indexes[0] * 100 + indexes[1] * 10 + indexes[2], 139u);
    constexpr int kAnswers[][3] = {
        {1, 0, 0}, {3, 0, 0}, {2, -1, 0}, {100, -1, -1}, {101, -1, kBadInput}};
    for (const auto& [index, answer, family_answer] : kAnswers) {
        Rule rule{.ulIndex = static_cast<uint32_t>(index)};
        FamilyRule family{.ulIndex = static_cast<uint32_t>(index)};
        EXPECT_EQ(igdCmSecureUrlFilterListGet(&rule, sizeof(rule)), answer) << index;
        EXPECT_EQ(igdCmSecureUrlFilterFamilyListGet(&family, sizeof(family)), family_answer);
        EXPECT_EQ(rule.enable + family.enable, (answer == 0) + (family_answer == 0));
    }
    Rule rule{};
    EXPECT_EQ(igdCmSecureUrlFilterListAdd(&rule, sizeof(rule) - 1), kBadInput);
}

}  // namespace
