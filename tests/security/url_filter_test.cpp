#include "records/url_filter.h"
#include "security/url_filter/url_filter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <regex>
#include <sstream>

#include "support/module_test.h"
#include "support/recording_bus.h"

using namespace appcfg;

namespace {

using recording_platform::refuse;

using Rule = IgdSecurUrlFilterListAttrConfTab;
using FamilyRule = IgdSecurUrlFilterFamilyListAttrConfTab;

constexpr int kBadInput = 268435457;

/// What requests differ in.
struct Arguments {
    std::string url = "b";
    int index = 1;
    int enable = 1;
    std::string more =
        R"("family_group":1,"mac_address":"","ucUrlFilterEnable":1,"ucFilterMode":1)";
};

BusReply call(const std::string& method, const Arguments& a = {}) {
    std::ostringstream json;
    json << R"({"protocol_mask":2,"ulIndex":)" << a.index << R"(,"enable":)" << a.enable
         << R"(,"aucFilterUrl":")" << a.url << "\"," << a.more << "}";
    return call_method(url_filter_bus_object(), "url_filter_" + method, json.str());
}

BusReply failed(const std::string& operation, int code = -1) {
    return failure(code, "igdCmSecureUrlFilter" + operation + " error");
}

struct UrlFilterTest : ModuleTest {
    UrlFilterTest() : ModuleTest(register_url_filter_tables) {}

    /// Rules with these URLs on both lists, their calls forgotten.
    static void fill(const std::vector<std::string>& urls) {
        for (const std::string& url : urls)
            for (const char* method : {"list_add", "family_group_mac_add"})
                ASSERT_EQ(call(method, {.url = url}), success());
        calls();
    }
};

TEST_F(UrlFilterTest, RecordsReachThePlatformByteForByte) {
    const std::string url(255, 'u');
    const std::string host = R"("family_group":1,"mac_address":"00:11:22:33:44:55")";
    call("list_add", {.url = url, .enable = -1});
    call("family_group_mac_add", {.url = url, .enable = -1, .more = host});
    call("family_group_mac_del");
    call("basic_set", {.more = R"("ucUrlFilterEnable":257,"ucFilterMode":1)"});
    IgdSecurUrlFilterAttrConfTab mode_only{200, 0, {}, 2};
    EXPECT_EQ(igdCmSecureUrlFilterAttrSet(&mode_only, sizeof(mode_only)), 0);
    std::vector<uint8_t> address(284);
    std::memset(address.data(), 0xff, 4);
    address[4] = 2;
    std::memcpy(&address[8], url.data(), url.size());
    std::vector<uint8_t> family = address;
    std::memcpy(&family[264], "00:11:22:33:44:55", 17);
    const std::vector<uint8_t> records[] = {
        address, family, family, {1, 0, 0, 0, 1, 0, 0, 0}, {1, 0, 0, 0, 0, 0, 0, 0}};
    EXPECT_TRUE(std::ranges::equal(recording_platform::take(), records, {},
                                   &recording_platform::Call::record));
    EXPECT_EQ(igdCmSecureUrlFilterAttrGet(&mode_only, sizeof(mode_only)), 0);
    EXPECT_EQ(mode_only.ucUrlFilterEnable, 1);
}

TEST_F(UrlFilterTest, EveryChangeIsThePlatformsBeforeItIsStored) {
    fill({"a"});
    const auto before = read_package("app_urlfilter");
    constexpr const char* kChanges[][3] = {
        {platform::kUrlFilterSet.name, "basic_set", "AttrSet"},
        {platform::kUrlAddressSet.name, "list_add", "ListAdd"},
        {platform::kUrlAddressSet.name, "list_set", "ListSet"},
        {platform::kUrlAddressDelete.name, "list_del", "ListDel"},
        {platform::kUrlAddressSet.name, "family_group_mac_add", "FamilyListAdd"},
        {platform::kUrlAddressDelete.name, "family_group_mac_del", "FamilyListDel"},
    };
    for (const auto& [platform_call, method, operation] : kChanges) {
        {
            const FullDisk full;  // which no delete looks at
            EXPECT_EQ(call(method) == success(), platform_call == platform::kUrlAddressDelete.name)
                << method;
            EXPECT_EQ(calls(), Names{platform_call}) << method;
        }
        refuse(platform_call, 5);
        EXPECT_EQ(call(method), failed(operation));
        EXPECT_EQ(read_package("app_urlfilter"), before) << method;
        recording_platform::reset();
    }
    refuse(platform::kUrlAddressDelete.name);
    EXPECT_EQ(call("list_set"), failed("ListSet"));
    EXPECT_NE(read_package("app_urlfilter"), before);
}

TEST_F(UrlFilterTest, UrlStandsInAListOnceAndIsNotSentWhenEmpty) {
    fill({"", "a"});
    EXPECT_EQ(call("list_add", {.url = ""}), failed("ListAdd"));
    EXPECT_EQ(call("list_add", {.url = "A"}), success());
    EXPECT_EQ(call("list_set", {.url = "b"}), success());
    EXPECT_EQ(call("list_set", {.url = ""}), success());
    EXPECT_EQ(calls(), (Names{platform::kUrlAddressSet.name, platform::kUrlAddressSet.name,
                              platform::kUrlAddressDelete.name}));
    for (const char* method : {"list_del", "family_group_mac_del", "family_group_all_mac_del"})
        EXPECT_EQ(call(method), success()) << method;
    EXPECT_EQ(calls(), Names{platform::kUrlAddressDelete.name});
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

TEST_F(UrlFilterTest, OnlyExactlyAHundredRulesAreTooMany) {
    std::string text;
    for (int index = 102; index > 1; --index)
        text += "config IGD_SECUR_URL_FILTER_LIST_TAB\n\toption ulIndex '" + std::to_string(index) +
                "'\n";
    write_package("app_urlfilter", text);
    ASSERT_EQ(call("list_add"), success());
    EXPECT_NE(read_package("app_urlfilter").find("'103'"), std::string::npos);
    EXPECT_EQ(call("list_del"), failed("ListDel", kBadInput));
    for (const int index : {2, 3})
        EXPECT_EQ(call("list_del", {.index = index}), success());
    EXPECT_EQ(call("list_add"), failed("ListAdd", -2));
}

TEST_F(UrlFilterTest, WholeListsAreGoneThroughThoughThePlatformRefuses) {
    fill({"a", "b", "c"});
    refuse(platform::kUrlAddressSet.name);
    EXPECT_EQ(igdCmSecureUrlFilterListInit(), 0);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListInit(), -1);
    refuse(platform::kUrlAddressDelete.name, -1, 1);  // all but the first
    EXPECT_EQ(call("family_group_all_mac_del"), failed("FamilyGroupAllDel"));
    EXPECT_EQ(calls().size(), 9u);
    EXPECT_EQ(mib_chain_total(IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB), 0);
    write_package("app_urlfilter",
                  "config IGD_SECUR_URL_FILTER_ATTR_TAB\n\toption ucFilterMode '5'\n");
    EXPECT_EQ(igdCmSecureUrlFilterAttrInit(), kBadInput);
}

TEST_F(UrlFilterTest, QueriesAnswerFromTheTables) {
    fill({"a", "b", "c"});
    call("list_del", {.index = 2});
    std::array<uint32_t, 3> indexes{9, 9, 9};
    ASSERT_EQ(igdCmSecureUrlFilterListGetallIndex(indexes.data(), 8), 0);
    EXPECT_EQ(indexes, (std::array<uint32_t, 3>{1, 3, 9}));
    EXPECT_EQ(igdCmSecureUrlFilterListGetallIndex(indexes.data(), 7), -1);
    ASSERT_EQ(igdCmSecureUrlFilterListEntryNumGet(indexes.data(), 4), 0);
    EXPECT_EQ(indexes[0], 2u);
    constexpr int kAnswers[][3] = {{3, 0, 0}, {2, -1, 0}, {100, -1, -1}, {101, -1, kBadInput}};
    for (const auto& [index, answer, family_answer] : kAnswers) {
        Rule rule{.ulIndex = static_cast<uint32_t>(index)};
        FamilyRule family{.ulIndex = static_cast<uint32_t>(index)};
        EXPECT_EQ(igdCmSecureUrlFilterListGet(&rule, sizeof(rule)), answer);
        EXPECT_EQ(igdCmSecureUrlFilterFamilyListGet(&family, sizeof(family)), family_answer);
        EXPECT_EQ(rule.enable + family.enable, (answer == 0) + (family_answer == 0));
    }
}

TEST_F(UrlFilterTest, ArgumentsAreBounded) {
    for (const char* method : {"list_add", "list_set", "family_group_mac_add"})
        EXPECT_EQ(call(method, {.url = std::string(256, 'u')}), refused(2)) << method;
    for (const char* method : {"list_del", "family_group_mac_del"})
        EXPECT_EQ(call(method, {.index = 101}), refused(2)) << method;
    Rule request{.ulIndex = 101};
    EXPECT_EQ(igdCmSecureUrlFilterListSet(&request, sizeof(request)), kBadInput);
    EXPECT_EQ(igdCmSecureUrlFilterListDel(&request, sizeof(request)), kBadInput);
    EXPECT_EQ(igdCmSecureUrlFilterListAdd(&request, sizeof(request) - 1), kBadInput);
}

TEST_F(UrlFilterTest, LogsInTheNameOfTheOperation) {
    refuse(platform::kUrlAddressSet.name);
    recording_platform::open_log(true);
    testing::internal::CaptureStdout();
    call("family_group_mac_add");
    const std::regex lines(R"([^]*\[CM:igdCmSecureUrlFilterFamilyListAdd\(\d+\)\])"
                           "call zu_sal_sec_url_address_set is fail\\.\t\n\r\n");
    EXPECT_TRUE(std::regex_match(testing::internal::GetCapturedStdout(), lines));
}

}  // namespace
