#include "security/url_filter/url_filter.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "support/module_test.h"
#include "support/recording_bus.h"

namespace {

using recording_platform::Call;
using recording_platform::refuse;
using recording_platform::take;

using Attr = IgdSecurUrlFilterAttrConfTab;
using Rule = IgdSecurUrlFilterListAttrConfTab;
using FamilyRule = IgdSecurUrlFilterFamilyListAttrConfTab;

constexpr char kFilterSet[] = "zu_zu_sal_sec_url_filter_set_call";
constexpr char kSet[] = "zu_zu_sal_sec_url_address_set_call";
constexpr char kDelete[] = "zu_zu_sal_sec_url_address_delete_call";
constexpr int kBadInput = 268435457;

BusReply failed(const std::string& operation, int code = -1) {
    return failure(code, "igdCmSecureUrlFilter" + operation + " error");
}

struct UrlFilterTest : ModuleTest {
    UrlFilterTest() : ModuleTest(register_url_filter_tables) {}

    static BusReply call(const std::string& method, const std::string& json) {
        return call_method(url_filter_bus_object(), "url_filter_" + method, json);
    }
    static BusReply basic_set(int enable, int mode) {
        return call("basic_set", "{\"ucUrlFilterEnable\":" + std::to_string(enable) +
                                     ",\"ucFilterMode\":" + std::to_string(mode) + "}");
    }
    static std::string rule(const std::string& url, int enable, const std::string& more = "") {
        return "{\"enable\":" + std::to_string(enable) +
               ",\"protocol_mask\":2,\"aucFilterUrl\":\"" + url + "\"" + more + "}";
    }
    static BusReply add(const std::string& url, int enable = 1) {
        return call("list_add", rule(url, enable));
    }
    static BusReply set(int index, const std::string& url, int enable = 1) {
        return call("list_set", rule(url, enable, ",\"ulIndex\":" + std::to_string(index)));
    }
    static BusReply del(int index) {
        return call("list_del", "{\"ulIndex\":" + std::to_string(index) + "}");
    }
    static BusReply family_add(const std::string& url, int group, const std::string& mac = "") {
        return call(
            "family_group_mac_add",
            rule(url, 6,
                 ",\"mac_address\":\"" + mac + "\",\"family_group\":" + std::to_string(group)));
    }
    static BusReply family_del(int index) {
        return call("family_group_mac_del", "{\"ulIndex\":" + std::to_string(index) + "}");
    }
    static BusReply group_del(int group) {
        return call("family_group_all_mac_del", "{\"family_group\":" + std::to_string(group) + "}");
    }
    static int32_t total() { return mib_chain_total(IGD_SECUR_URL_FILTER_LIST_TAB); }
    static int32_t family_total() { return mib_chain_total(IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB); }
    static Rule row(int32_t position) {
        Rule row{};
        EXPECT_EQ(mib_chain_get(IGD_SECUR_URL_FILTER_LIST_TAB, position, &row), 1);
        return row;
    }
    std::string stored() const { return read_package("app_urlfilter"); }
};

/// The URLs that calls carried.
std::vector<std::string> urls(const std::vector<Call>& calls) {
    std::vector<std::string> texts;
    for (const Call& call : calls)
        texts.push_back(call.text(8));
    return texts;
}

using Texts = std::vector<std::string>;

TEST_F(UrlFilterTest, AddressReachesThePlatformByteForByte) {
    const std::string url(255, 'u');
    ASSERT_EQ(add(url, -1), success());
    ASSERT_EQ(family_add("b.example", 5, "00:11:22:33:44:55"), success());
    ASSERT_EQ(family_del(1), success());
    const auto sent = take();
    ASSERT_EQ(sent.size(), 3u);
    for (const Call& call : sent) {
        EXPECT_TRUE(call.queued);
        ASSERT_EQ(call.record.size(), 284u);
        EXPECT_EQ(call.word(4), 2u);
    }
    EXPECT_EQ(sent[0].name, kSet);
    EXPECT_EQ(sent[0].word(0), 0xffffffffu);
    EXPECT_EQ(sent[0].text(8), url);
    EXPECT_EQ(sent[0].text(264), "");
    EXPECT_EQ(sent[1].name, kSet);
    EXPECT_EQ(sent[1].word(0), 6u);
    EXPECT_EQ(sent[1].text(8), "b.example");
    EXPECT_EQ(std::count(&sent[1].record[17], &sent[1].record[264], 0), 247);
    EXPECT_EQ(sent[1].text(264), "00:11:22:33:44:55");
    EXPECT_EQ(sent[1].record[282] + sent[1].record[283], 0);
    EXPECT_EQ(sent[2].name, kDelete);
    EXPECT_EQ(sent[2].record, sent[1].record);
}

TEST_F(UrlFilterTest, AttributesGoToThePlatformFirst) {
    EXPECT_EQ(basic_set(2, 0), failed("AttrSet", kBadInput));
    EXPECT_EQ(basic_set(0, 2), failed("AttrSet", kBadInput));
    EXPECT_TRUE(calls().empty());
    ASSERT_EQ(basic_set(257, 256 + 1), success());
    Attr mode_only{.ucUrlFilterEnable = 200, .ucFilterMode = 0, .aucReserved = {}, .ulBitmap = 2};
    ASSERT_EQ(igdCmSecureUrlFilterAttrSet(&mode_only, sizeof(mode_only)), 0);
    const auto sent = take();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].name, kFilterSet);
    EXPECT_TRUE(sent[0].queued);
    EXPECT_EQ(sent[0].record, (std::vector<uint8_t>{1, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(sent[1].record, (std::vector<uint8_t>{1, 0, 0, 0, 0, 0, 0, 0}));

    const auto before = stored();
    {
        const FullDisk full;
        EXPECT_EQ(basic_set(0, 1), failed("AttrSet"));
        EXPECT_EQ(calls(), Names{kFilterSet});
    }
    refuse(kFilterSet);
    EXPECT_EQ(basic_set(0, 1), failed("AttrSet"));
    EXPECT_EQ(stored(), before);
    Attr read{};
    ASSERT_EQ(igdCmSecureUrlFilterAttrGet(&read, sizeof(read)), 0);
    EXPECT_EQ(read.ucUrlFilterEnable, 1);
    EXPECT_EQ(read.ucFilterMode, 0);
    EXPECT_EQ(read.ulBitmap, 3u);
}

TEST_F(UrlFilterTest, UrlStandsInEachListOnce) {
    ASSERT_EQ(add("a.example"), success());
    ASSERT_EQ(family_add("a.example", 1), success());
    calls();
    EXPECT_EQ(add("a.example", 0), failed("ListAdd"));
    EXPECT_EQ(family_add("a.example", 2, "00:11:22:33:44:55"), failed("FamilyListAdd"));
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(add("A.example"), success());
    EXPECT_EQ(total(), 2);
    EXPECT_EQ(family_total(), 1);
}

TEST_F(UrlFilterTest, EmptyUrlIsStoredButNeverSent) {
    ASSERT_EQ(add("", 7), success());
    EXPECT_EQ(row(0).enable, 7u);
    EXPECT_EQ(add(""), failed("ListAdd"));
    ASSERT_EQ(family_add("", 3), success());
    ASSERT_EQ(igdCmSecureUrlFilterListInit(), 0);
    ASSERT_EQ(igdCmSecureUrlFilterFamilyListInit(), 0);
    ASSERT_EQ(del(1), success());
    ASSERT_EQ(group_del(3), success());
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(total() + family_total(), 0);
}

TEST_F(UrlFilterTest, UnselectedMembersTakeDefaults) {
    Rule empty{};
    ASSERT_EQ(igdCmSecureUrlFilterListAdd(&empty, sizeof(empty)), 0);
    EXPECT_EQ(empty.enable + empty.protocol_mask, 0u);
    ASSERT_EQ(igdCmSecureUrlFilterListSet(&empty, sizeof(empty)), 0);
    EXPECT_EQ(row(0).enable, 1u);
    EXPECT_EQ(row(0).protocol_mask, 3u);

    FamilyRule request{};
    std::strcpy(request.aucFilterUrl, "a.example");
    request.protocol_mask = 8;
    request.ulBitmap = 2;
    ASSERT_EQ(igdCmSecureUrlFilterFamilyListAdd(&request, sizeof(request)), 0);
    EXPECT_EQ(request.ulIndex, 1u);
    EXPECT_EQ(request.enable, 1u);
    const auto sent = take();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].word(0), 1u);
    EXPECT_EQ(sent[0].word(4), 8u);
}

TEST_F(UrlFilterTest, ListsHoldAHundredRules) {
    const auto provision = [&](int count) {
        std::string text;
        for (const std::string list : {"LIST", "FAMILY_LIST"})
            for (int index = 101; index > 101 - count; --index)
                text += "config IGD_SECUR_URL_FILTER_" + list + "_TAB\n\toption ulIndex '" +
                        std::to_string(index) + "'\n\toption aucFilterUrl 'u" +
                        std::to_string(index) + "'\n";
        write_package("app_urlfilter", text);
    };
    provision(100);
    EXPECT_EQ(add("u2"), failed("ListAdd", -2));
    EXPECT_EQ(family_add("v", 1), failed("FamilyListAdd", -2));
    Rule request{};
    request.ulIndex = 101;
    EXPECT_EQ(igdCmSecureUrlFilterListDel(&request, sizeof(request)), kBadInput);
    EXPECT_EQ(del(1), failed("ListDel", kBadInput));
    EXPECT_EQ(family_del(1), failed("FamilyListDel", kBadInput));
    EXPECT_TRUE(calls().empty());
    ASSERT_EQ(del(2), success());
    ASSERT_EQ(add("v"), success());
    EXPECT_EQ(row(99).ulIndex, 102u);
    provision(101);
    EXPECT_EQ(add("v"), success());
}

TEST_F(UrlFilterTest, SetSendsTheNewAddressBeforeItDeletesTheOld) {
    ASSERT_EQ(add("a.example", 1), success());
    calls();
    ASSERT_EQ(set(1, "a.example", 0), success());
    const auto sent = take();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].name, kSet);
    EXPECT_EQ(sent[0].word(0), 0u);
    EXPECT_EQ(sent[1].name, kDelete);
    EXPECT_EQ(sent[1].word(0), 1u);
    EXPECT_EQ(urls(sent), (Texts{"a.example", "a.example"}));

    ASSERT_EQ(set(1, ""), success());
    EXPECT_EQ(calls(), Names{kDelete});
    ASSERT_EQ(set(1, "b.example"), success());
    EXPECT_EQ(calls(), Names{kSet});
    EXPECT_EQ(set(2, "c.example"), failed("ListSet"));
    EXPECT_EQ(set(0, "c.example"), failed("ListSet"));
    EXPECT_TRUE(calls().empty());
    EXPECT_STREQ(row(0).aucFilterUrl, "b.example");
}

TEST_F(UrlFilterTest, RefusedOrUnwrittenChangesLeaveWhatTheyShould) {
    ASSERT_EQ(add("a.example"), success());
    ASSERT_EQ(family_add("a.example", 1), success());
    const auto before = stored();
    {
        const FullDisk full;
        calls();
        EXPECT_EQ(add("b.example"), failed("ListAdd"));
        EXPECT_EQ(family_add("b.example", 1), failed("FamilyListAdd"));
        EXPECT_EQ(set(1, "b.example"), failed("ListSet"));
        EXPECT_EQ(calls(), (Names{kSet, kSet, kSet}));
    }
    refuse(kSet, 5);
    EXPECT_EQ(add("b.example"), failed("ListAdd"));
    EXPECT_EQ(family_add("b.example", 1), failed("FamilyListAdd"));
    EXPECT_EQ(set(1, "b.example"), failed("ListSet"));
    refuse(kDelete, 5);
    EXPECT_EQ(del(1), failed("ListDel"));
    EXPECT_EQ(family_del(1), failed("FamilyListDel"));
    EXPECT_EQ(stored(), before);

    refuse(kSet, 0);
    EXPECT_EQ(set(1, "b.example"), failed("ListSet"));
    EXPECT_STREQ(row(0).aucFilterUrl, "b.example");
}

TEST_F(UrlFilterTest, GroupGoesAtOnceWhateverThePlatformSays) {
    for (const char* url : {"a", "b", "c", "d"})
        ASSERT_EQ(family_add(url, *url == 'b' ? 5 : 1), success());
    calls();
    EXPECT_EQ(group_del(3), failed("FamilyGroupAllDel", kBadInput));
    EXPECT_TRUE(calls().empty());
    refuse(kDelete, -1, 1);  // all but the first
    EXPECT_EQ(group_del(1), failed("FamilyGroupAllDel"));
    EXPECT_EQ(urls(take()), (Texts{"d", "c", "a"}));
    EXPECT_EQ(family_total(), 1);
    refuse(kDelete, 0);
    EXPECT_EQ(group_del(5), success());
    EXPECT_EQ(family_total(), 0);
}

TEST_F(UrlFilterTest, StartUpReplaysEverythingStored) {
    ASSERT_EQ(basic_set(1, 1), success());
    ASSERT_EQ(add("a"), success());
    ASSERT_EQ(add("b"), success());
    ASSERT_EQ(family_add("c", 1, "00:11:22:33:44:55"), success());
    ASSERT_EQ(family_add("d", 1), success());
    calls();
    const auto before = stored();
    refuse(kSet, -1);
    ASSERT_EQ(call("init", R"({"surplus":[{}]})"), success());
    const auto sent = take();
    ASSERT_EQ(sent.size(), 6u);
    EXPECT_EQ(sent[0].name, "zu_sec_urlfilter_init");
    EXPECT_EQ(sent[1].name, kFilterSet);
    EXPECT_EQ(urls({sent.begin() + 2, sent.end()}), (Texts{"a", "b", "c", "d"}));
    EXPECT_EQ(sent[4].text(264), "00:11:22:33:44:55");
    EXPECT_EQ(igdCmSecureUrlFilterListInit(), 0);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListInit(), -1);
    EXPECT_EQ(stored(), before);
    recording_platform::reset();
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListInit(), 0);
    write_package("app_urlfilter",
                  "config IGD_SECUR_URL_FILTER_ATTR_TAB\n\toption ucUrlFilterEnable '5'\n");
    calls();
    EXPECT_EQ(igdCmSecureUrlFilterAttrInit(), kBadInput);
    EXPECT_EQ(igdCmSecureModuleInit(), 0);
    EXPECT_TRUE(calls().empty());
}

// Rows that cannot be read or deleted, which the configuration store of some gateways reports.
const TableDescriptor kFaultyFamilyTable{
    .id = IGD_SECUR_URL_FILTER_FAMILY_LIST_TAB,
    .total = [] { return table_total(url_filter_family_list_table); },
    .get =
        [](int32_t position, void* record) {
            return position == 0 ? 0 : table_get(url_filter_family_list_table, position, record);
        },
    .update = nullptr,
    .add = nullptr,
    .remove = [](uint32_t, int32_t) { return 0; },
};

TEST_F(UrlFilterTest, RowsThatCannotBeReadArePassedOver) {
    ASSERT_EQ(family_add("a", 1), success());
    ASSERT_EQ(family_add("b", 1), success());
    calls();
    mib_chain_register(&kFaultyFamilyTable, 1);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListInit(), 0);
    EXPECT_EQ(family_del(1), failed("FamilyListDel", kBadInput));
    EXPECT_EQ(family_del(2), failed("FamilyListDel"));
    EXPECT_EQ(group_del(1), failed("FamilyGroupAllDel"));
    const auto sent = take();
    EXPECT_EQ(urls(sent), (Texts{"b", "b", "b"}));
}

TEST_F(UrlFilterTest, QueriesAnswerFromTheTables) {
    for (const char* url : {"a", "b", "c"})
        ASSERT_EQ(add(url), success());
    ASSERT_EQ(del(2), success());
    uint32_t count = 0;
    ASSERT_EQ(igdCmSecureUrlFilterListEntryNumGet(&count, sizeof(count)), 0);
    EXPECT_EQ(count, 2u);
    std::array<uint32_t, 3> indexes{9, 9, 9};
    ASSERT_EQ(igdCmSecureUrlFilterListGetallIndex(indexes.data(), 8), 0);
    EXPECT_EQ(indexes, (std::array<uint32_t, 3>{1, 3, 9}));
    EXPECT_EQ(igdCmSecureUrlFilterListGetallIndex(indexes.data(), 7), -1);

    Rule found{};
    found.ulIndex = 3;
    ASSERT_EQ(igdCmSecureUrlFilterListGet(&found, sizeof(found)), 0);
    EXPECT_STREQ(found.aucFilterUrl, "c");
    EXPECT_EQ(found.ulBitmap, 7u);
    found.ulIndex = 2;
    EXPECT_EQ(igdCmSecureUrlFilterListGet(&found, sizeof(found)), -1);

    ASSERT_EQ(family_add("a", -5, "00:11:22:33:44:55"), success());
    FamilyRule family{};
    family.ulIndex = 1;
    ASSERT_EQ(igdCmSecureUrlFilterFamilyListGet(&family, sizeof(family)), 0);
    EXPECT_STREQ(family.aucMacAddress, "00:11:22:33:44:55");
    EXPECT_EQ(family.family_group, -5);
    EXPECT_EQ(family.ulBitmap, 31);
    family.ulIndex = 100;
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListGet(&family, sizeof(family)), -1);
    family.ulIndex = 101;
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListGet(&family, sizeof(family)), kBadInput);
}

TEST_F(UrlFilterTest, ArgumentsAreAllRequiredAndBounded) {
    const auto missing = [](const std::string& name) {
        return BusReply{9, "{\"result\":-3,\"fail_reason\":\"Parameter " + name +
                               " is NULL. Please try again.\"}"};
    };
    EXPECT_EQ(call("list_set", "{}"), missing("ulIndex"));
    EXPECT_EQ(call("list_set", R"({"ulIndex":101,"enable":"1"})"), missing("enable"));
    EXPECT_EQ(call("family_group_mac_add", rule("a", 1)), missing("mac_address"));

    ASSERT_EQ(add("a"), success());
    calls();
    const std::string long_url(256, 'u');
    EXPECT_EQ(add(long_url), refused(2));
    EXPECT_EQ(set(1, long_url), refused(2));
    EXPECT_EQ(family_add(long_url, 1), refused(2));
    EXPECT_EQ(family_add("b", 1, "00:11:22:33:44:555"), refused(2));
    for (const int index : {101, -1}) {
        EXPECT_EQ(set(index, "b"), refused(2));
        EXPECT_EQ(del(index), refused(2));
        EXPECT_EQ(family_del(index), refused(2));
    }
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(total(), 1);
    EXPECT_EQ(family_add("b", 1, std::string(17, 'm')), success());

    Rule request{};
    request.ulIndex = 101;
    EXPECT_EQ(igdCmSecureUrlFilterListSet(&request, sizeof(request)), kBadInput);
    EXPECT_EQ(igdCmSecureUrlFilterListAdd(&request, sizeof(request) - 1), kBadInput);
    EXPECT_EQ(igdCmSecureUrlFilterFamilyListAdd(nullptr, sizeof(FamilyRule)), kBadInput);
    EXPECT_EQ(igdCmSecureUrlFilterListGetallIndex(nullptr, 4), kBadInput);
}

/// What `action` logs, without the line numbers.
template <class Action>
std::string logged(Action action) {
    recording_platform::open_log(true);
    testing::internal::CaptureStdout();
    action();
    std::string text = testing::internal::GetCapturedStdout();
    recording_platform::open_log(false);
    for (size_t at = 0; (at = text.find('(', at)) != std::string::npos; ++at)
        if (const size_t end = text.find(")]", at); end != std::string::npos)
            text.erase(at + 1, end - at - 1);
    return text;
}

/// The lines of one of this module's operations.
std::string lines(const std::string& operation, const Texts& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += "[CM:igdCmSecureUrlFilter" + operation + "()]" + text + "\t\n\r\n";
    return all;
}

TEST_F(UrlFilterTest, LogsInTheNameOfTheOperation) {
    ASSERT_EQ(add("a"), success());
    EXPECT_EQ(
        logged([] { set(1, "b"); }),
        lines("ListSet",
              {"ulIndex = 1, ulBitmap = 7, aucFilterUrl = b", "wan current ip filter list num [1].",
               "ipc call zu_sal_sec_url_address_set ", "rule set fin",
               "st_filter_list.filter_en = 1 ", "st_filter_list.proto_mask = 2 ",
               "st_filter_list.url_name = a ", "ipc call zu_sal_sec_url_address_delete "}));
    refuse(kSet);
    EXPECT_EQ(logged([] { family_add("b", 4); }),
              lines("FamilyListAdd", {"zu_sal_sec_url_address_set para : [b].",
                                      "ipc call zu_sal_sec_url_address_set",
                                      "call zu_sal_sec_url_address_set is fail."}));
    EXPECT_EQ(logged([] { group_del(4); }),
              lines("FamilyGroupAllDel", {"lTotalNum = 0", "No rules found for family group 4"}));
}

}  // namespace
