#include "security/dns_filter/dns_filter.h"

#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "security/dns_filter/dns_filter_testing.h"
#include "security/dns_filter/host_list_file.h"
#include "support/module_test.h"
#include "support/recording_bus.h"

namespace {

namespace fs = std::filesystem;
using recording_platform::refuse;
using Rule = IgdDnsFilterConfigTab;

constexpr char kAdd[] = "zu_zu_sal_sec_dns_filter_add_call";
constexpr char kDel[] = "zu_zu_sal_sec_dns_filter_del_call";
constexpr char kSet[] = "zu_zu_sal_sec_dns_filter_set_call";
constexpr char kGet[] = "zu_zu_sal_sec_dns_filter_get_call";
constexpr char kListAddError[] = "igdCmSecureDnsFilterListAdd error";
constexpr char kListDelError[] = "igdCmSecureDnsFilterListDel error";
constexpr int kInputError = 268435457;

struct DnsFilterTest : ModuleTest {
    DnsFilterTest() : ModuleTest(register_dns_filter_tables) {
        char name[] = "/tmp/dns-test-XXXXXX";
        folder_ = mkdtemp(name);
        list_ = folder_ / "cgi_dnsfilter";
        rule_list_ = folder_ / "hostlist";
        dns_filter_files = {list_.c_str(), rule_list_.c_str()};
    }
    ~DnsFilterTest() override { fs::remove_all(folder_); }

    static BusReply call(const std::string& method, const std::string& json = "{}") {
        return call_method(dns_filter_bus_object(), method, json);
    }
    static BusReply turn(int value) {
        return call("dns_filter_basic_set",
                    "{\"ucDnsFilterEnable\":" + std::to_string(value) + "}");
    }
    static BusReply add(const std::string& domain) {
        return call("dns_filter_list_add", "{\"aucFilterDomain\":\"" + domain + "\"}");
    }
    static BusReply del(int index) {
        return call("dns_filter_list_del", "{\"ulIndex\":" + std::to_string(index) + "}");
    }
    static Rule rule(uint32_t bitmap, uint8_t index = 1) {
        Rule r{};
        r.ucIndex = index;
        r.ulBitmap = bitmap;
        return r;
    }
    static int32_t set(Rule request) { return igdCmDnsFilterConfigSet(&request, sizeof(request)); }
    static Rule stored(int32_t position = 0) {
        Rule r{};
        EXPECT_EQ(mib_chain_get(IGD_DNS_FILTER_CONFIG_TAB, position, &r), 1);
        return r;
    }
    static std::vector<std::string> listed() {
        std::vector<std::string> rows;
        for (int32_t i = 0; i < mib_chain_total(IGD_SECUR_DNS_FILTER_LIST_TAB); ++i) {
            IgdSecurDnsFilterListTab row{};
            EXPECT_EQ(mib_chain_get(IGD_SECUR_DNS_FILTER_LIST_TAB, i, &row), 1);
            EXPECT_EQ(row.ulBitmap, 65535u);
            rows.push_back(std::to_string(row.ulIndex) + " " + row.aucFilterDomain);
        }
        return rows;
    }
    /// The rules' rows as given, and as many domains.
    void provision(const std::string& rules, int domains = 0) {
        std::string text;
        std::istringstream flags(rules);
        for (std::string index, enable; flags >> index >> enable;)
            text += "config IGD_DNS_FILTER_CONFIG_TAB\n\toption ucIndex '" + index +
                    "'\n\toption ucDnsFilterEnable '" + enable + "'\n";
        for (int i = 1; i <= domains; ++i)
            text += "config IGD_SECUR_DNS_FILTER_LIST_TAB\n\toption ulIndex '" + std::to_string(i) +
                    "'\n\toption aucFilterDomain 'd" + std::to_string(i) + ".example'\n";
        write_package("app_dnsfilter", text);
    }
    static std::string text_of(const fs::path& path) {
        if (!fs::exists(path)) return "(missing)";
        std::stringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    std::string list() const { return text_of(list_); }
    std::string rule_list(int index = 1) const {
        return text_of(rule_list_.string() + "_" + std::to_string(index));
    }
    void write_rule_list(const std::string& text) const {
        std::ofstream(rule_list_.string() + "_1") << text;
    }
    void expect_no_leftovers() const {
        for (const auto& entry : fs::directory_iterator(folder_))
            EXPECT_NE(entry.path().extension(), ".new") << entry.path();
    }

    fs::path folder_;
    fs::path list_;
    fs::path rule_list_;
};

using Lines = std::vector<std::string>;

TEST_F(DnsFilterTest, SetSendsTheMergedRuleByteForByte) {
    Rule request = rule(0x1bf);
    request.ucEnable = 1;
    request.ucAction = 2;
    request.ucMode = 1;
    std::strcpy(request.aucMACAddress, "02:00:00:00:00:01");
    std::strcpy(request.aucDomain, "ads.example");
    std::memset(request.aucWeekdays, 'w', sizeof(request.aucWeekdays) - 1);
    std::memset(request.aucTime, 't', sizeof(request.aucTime) - 1);
    ASSERT_EQ(set(request), 0);
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].name, kSet);
    EXPECT_FALSE(sent[0].queued);
    std::vector<uint8_t> expected(164);
    const uint8_t numbers[] = {1, 0, 2, 0, 1, 1, 1, 0};
    std::memcpy(expected.data(), numbers, sizeof(numbers));
    const std::string time = std::string(31, 'w') + ";" + std::string(63, 't');
    std::memcpy(&expected[8], time.data(), time.size());
    std::strcpy(reinterpret_cast<char*>(&expected[136]), "02:00:00:00:00:01");
    expected[160] = 63;
    EXPECT_EQ(sent[0].record, expected);
    EXPECT_EQ(rule_list(), "ads.example\n");
    EXPECT_EQ(read_package("app_dnsfilter"),
              "\nconfig IGD_DNS_FILTER_CONFIG_TAB\n\toption ucIndex '1'\n"
              "\toption ucDnsFilterEnable '1'\n\n");
}

TEST_F(DnsFilterTest, SetMaskFollowsTheBitmap) {
    write_rule_list("");
    std::ofstream(list_) << "a.example\n";
    constexpr uint32_t kMasks[][2] = {{1, 1},  {2, 4},  {4, 2},    {8, 16},
                                      {32, 8}, {64, 2}, {128, 32}, {256, 32}};
    for (const auto& [bitmap, mask] : kMasks) {
        Rule request = rule(bitmap);
        std::strcpy(request.aucDomain, "b.example");
        std::strcpy(request.aucHostListName, list_.c_str());
        ASSERT_EQ(set(request), 0) << bitmap;
        const auto sent = recording_platform::take();
        ASSERT_EQ(sent.size(), 1u) << bitmap;
        EXPECT_EQ(sent[0].word(160), mask) << bitmap;
        EXPECT_EQ(sent[0].record[5], mask == 2) << bitmap;
        EXPECT_EQ(sent[0].text(8), ";");
    }
    EXPECT_EQ(set(rule(16)), 0);
    EXPECT_EQ(set(rule(0)), 0);
    EXPECT_EQ(calls(), Names{});
}

TEST_F(DnsFilterTest, SetChecksSelectedMembersOnly) {
    const auto refused_with = [](uint32_t bitmap, auto spoil) {
        Rule request = rule(bitmap);
        spoil(request);
        return set(request) == kInputError && calls().empty();
    };
    EXPECT_TRUE(refused_with(1, [](Rule& r) { r.ucEnable = 2; }));
    EXPECT_TRUE(refused_with(8, [](Rule& r) { r.ucAction = 3; }));
    EXPECT_TRUE(refused_with(32, [](Rule& r) { r.ucMode = 2; }));
    EXPECT_TRUE(refused_with(4, [](Rule&) {}));
    EXPECT_TRUE(refused_with(64, [](Rule& r) { std::strcpy(r.aucHostListName, "/no/such"); }));
    EXPECT_TRUE(refused_with(128, [](Rule& r) { std::memset(r.aucWeekdays, 'w', 32); }));
    EXPECT_TRUE(refused_with(256, [](Rule& r) { std::memset(r.aucTime, 't', 64); }));
    Rule request = rule(16);
    request.ucEnable = request.ucAction = request.ucMode = 200;
    EXPECT_EQ(set(request), 0);
    request.ucIndex = 9;
    std::strcpy(request.aucMACAddress, "02:00:00:00:00:01");
    EXPECT_EQ(set(request), -1);
    EXPECT_EQ(igdCmDnsFilterConfigSet(&request, sizeof(request) - 8), kInputError);
}

TEST_F(DnsFilterTest, HostListIsTakenOverOnlyOnceTheRuleHasOne) {
    std::string text;
    for (int i = 0; text.size() < 3 * 4096; ++i)
        text += "host" + std::to_string(i) + ".example\n";
    std::ofstream(list_) << text;
    Rule request = rule(64);
    std::strcpy(request.aucHostListName, list_.c_str());
    EXPECT_EQ(set(request), -1);
    EXPECT_EQ(calls(), Names{});
    EXPECT_EQ(rule_list(), "(missing)");

    write_rule_list("old.example\n");
    {
        const FullDisk full;
        EXPECT_EQ(set(request), -1);
    }
    EXPECT_EQ(rule_list(), "old.example\n");
    EXPECT_EQ(set(request), 0);
    EXPECT_EQ(rule_list(), text);
    fs::create_symlink("/etc/passwd", folder_ / "link");
    EXPECT_EQ(copy_dnsfilter_file((folder_ / "link").c_str(), list_.c_str()), -1);
    EXPECT_EQ(copy_dnsfilter_file(folder_.c_str(), list_.c_str()), -1);
    EXPECT_EQ(list(), text);
    expect_no_leftovers();
}

TEST_F(DnsFilterTest, TwoRulesWithoutAddressAreInEachOthersWay) {
    provision("1 0 2 0");
    EXPECT_EQ(set(rule(16)), -3);
    Rule request = rule(16);
    std::strcpy(request.aucMACAddress, "02:00:00:00:00:01");
    EXPECT_EQ(set(request), 0);
    EXPECT_EQ(set(rule(16, 3)), -3);
}

TEST_F(DnsFilterTest, AddAndDelSendTheIndexAndStoreTheSwitch) {
    provision("4 0 263 0");
    write_rule_list("kept\n");
    Rule request = rule(0xffffffff, 7);
    request.ucEnable = 3;
    request.ucAction = 2;
    ASSERT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), 0);
    EXPECT_EQ(rule_list(7), "");
    EXPECT_EQ(stored(0).ucEnable, 0);
    EXPECT_EQ(stored(1).ucEnable, 3);
    EXPECT_EQ(stored(1).ulBitmap, 3u);
    EXPECT_NE(read_package("app_dnsfilter").find("'263'"), std::string::npos);
    ASSERT_EQ(igdCmDnsFilterConfigDel(&request, sizeof(request)), 0);
    EXPECT_EQ(stored(1).ucEnable, 0);
    std::vector<uint8_t> expected(160);
    expected[0] = 7;
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].name, kAdd);
    EXPECT_EQ(sent[1].name, kDel);
    EXPECT_EQ(sent[0].record, expected);
    EXPECT_EQ(sent[1].record, expected);
    EXPECT_EQ(rule_list(), "kept\n");

    request.ucIndex = 5;
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -4);
    EXPECT_EQ(igdCmDnsFilterConfigDel(&request, sizeof(request)), -4);
    EXPECT_EQ(igdCmDnsFilterConfigGet(&request, sizeof(request)), -4);
    std::string hundred;
    for (int i = 1; i <= 100; ++i)
        hundred += std::to_string(i) + " 0 ";
    provision(hundred);
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -2);
    EXPECT_EQ(calls(), Names{});
    provision(hundred + "101 0");
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), 0);
}

TEST_F(DnsFilterTest, RefusedRuleStaysAsItWas) {
    Rule request = rule(1);
    request.ucEnable = 1;
    refuse(kAdd);
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -1);
    EXPECT_EQ(rule_list(), "(missing)");
    refuse(kSet);
    EXPECT_EQ(set(request), -1);
    EXPECT_EQ(stored().ucEnable, 0);
    recording_platform::reset();

    fs::create_directory(rule_list_.string() + "_1");
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -1);
    EXPECT_EQ(calls(), Names{kAdd});
    fs::remove(rule_list_.string() + "_1");
    {
        const FullDisk full;
        EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -1);
        EXPECT_EQ(set(request), 0);  // whether the row could be stored is not looked at
    }
    EXPECT_EQ(stored().ucEnable, 0);
    provision("1 1");
    refuse(kDel);
    EXPECT_EQ(igdCmDnsFilterConfigDel(&request, sizeof(request)), -1);
    EXPECT_EQ(stored().ucEnable, 1);
    refuse(kGet);
    EXPECT_EQ(igdCmDnsFilterConfigGet(&request, sizeof(request)), -1);
    expect_no_leftovers();
}

TEST_F(DnsFilterTest, StartReplaysEveryRuleWhateverComesOfIt) {
    provision("1 1 9 0", 1);
    std::ofstream(list_) << "of another life\n";
    refuse(kAdd);
    refuse(kSet);
    EXPECT_EQ(igdCmDnsFilterConfigInit(), 0);
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 4u);
    for (const size_t i : {0u, 2u}) {
        EXPECT_EQ(sent[i].name, kAdd);
        EXPECT_EQ(sent[i].record.size(), 160u);
        EXPECT_EQ(sent[i + 1].name, kSet);
        EXPECT_EQ(sent[i + 1].record.size(), 164u);
        EXPECT_EQ(sent[i + 1].word(160), 5u);
        EXPECT_EQ(sent[i].record[0], i == 0 ? 1 : 9);
        EXPECT_EQ(sent[i].record[4], i == 0 ? 1 : 0);
        EXPECT_EQ(sent[i].record[5], 0);
        EXPECT_EQ(sent[i].text(8), ";");
    }
    recording_platform::reset();
    EXPECT_EQ(call("dns_filter_init", "{\"anything\":[1]}"), success());
    EXPECT_EQ(calls(), (Names{kAdd, kSet, kAdd, kSet}));  // two rules without address: no third set
    EXPECT_EQ(list(), "d1.example\n");
}

TEST_F(DnsFilterTest, SwitchingEmptiesTheListInBothDirections) {
    provision("1 0", 2);
    EXPECT_EQ(turn(0), success());
    EXPECT_EQ(turn(2), success());
    EXPECT_EQ(turn(255), success());
    EXPECT_EQ(calls(), (Names{kGet, kGet, kGet}));
    EXPECT_EQ(listed().size(), 2u);

    EXPECT_EQ(turn(257), success());
    EXPECT_EQ(calls(), (Names{kGet, kDel, kAdd}));
    EXPECT_EQ(listed(), Lines{});
    EXPECT_EQ(stored().ucEnable, 1);
    EXPECT_EQ(rule_list(), "");
    EXPECT_EQ(add("a.example"), success());
    EXPECT_EQ(calls(), Names{kSet});
    EXPECT_EQ(turn(1), success());
    EXPECT_EQ(listed(), Lines{"1 a.example"});

    EXPECT_EQ(turn(0), success());
    EXPECT_EQ(calls(), (Names{kGet, kGet, kDel}));
    EXPECT_EQ(listed(), Lines{});
    EXPECT_EQ(list(), "(missing)");
    EXPECT_EQ(stored().ucEnable, 0);
    EXPECT_EQ(turn(1), success());
    EXPECT_EQ(list(), "");
    EXPECT_EQ(turn(0), success());
    EXPECT_EQ(list(), "(missing)");
}

TEST_F(DnsFilterTest, SwitchTellsWhatFailed) {
    provision("1 0", 1);
    refuse(kGet);
    EXPECT_EQ(turn(1), failure(-1, "igdCmDnsFilterConfigGet error"));
    recording_platform::reset();
    refuse(kDel);
    EXPECT_EQ(turn(1), failure(-1, "igdCmDnsFilterConfigDel error"));
    EXPECT_EQ(listed().size(), 1u);
    recording_platform::reset();
    refuse(kAdd, 7);
    EXPECT_EQ(turn(1), failure(-1, "igdCmDnsFilterConfigAdd error"));
    EXPECT_EQ(listed(), Lines{});
    EXPECT_EQ(stored().ucEnable, 0);
    recording_platform::reset();

    provision("");
    EXPECT_EQ(turn(1), failure(-4, "igdCmDnsFilterConfigAdd error"));
    EXPECT_EQ(turn(0), success());
    EXPECT_EQ(calls(), Names{});
    provision("1 0", 1);
    fs::remove(list_);
    fs::create_directory(list_);
    EXPECT_EQ(turn(1), failure(0, "open/create new file /tmp/cgi_dnsfilter failed"));
    EXPECT_EQ(calls(), Names{kGet});
    EXPECT_EQ(listed().size(), 1u);
    provision("1 1", 1);
    EXPECT_EQ(turn(0), failure(-1, "igdCmSecureDnsFilterListDelAll error"));
}

TEST_F(DnsFilterTest, EveryChangeOfTheListReachesTheRuleWhileItIsOn) {
    provision("1 1");
    write_rule_list("");
    umask(077);
    ASSERT_EQ(add("a.example"), success());
    ASSERT_EQ(add(""), success());
    ASSERT_EQ(add(" B.example"), success());
    umask(022);
    EXPECT_EQ(list(), "a.example\n B.example\n");
    EXPECT_EQ(rule_list(), list());
    EXPECT_EQ(fs::status(list_).permissions(), fs::perms{0644});
    auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[2].name, kSet);
    EXPECT_EQ(sent[2].word(160), 3u);
    EXPECT_EQ(sent[2].record[0], 1);
    EXPECT_EQ(sent[2].record[4], 1);
    EXPECT_EQ(sent[2].record[5], 1);
    ASSERT_EQ(del(1), success());
    EXPECT_EQ(rule_list(), " B.example\n");
    EXPECT_EQ(igdCmSecureDnsFilterListDelAll(), 0);
    EXPECT_EQ(rule_list(), "");
    EXPECT_EQ(list(), "");
    EXPECT_EQ(calls(), (Names{kSet, kSet}));

    refuse(kSet);
    EXPECT_EQ(add("c.example"), failure(-1, kListAddError));
    EXPECT_EQ(listed(), Lines{"1 c.example"});
    EXPECT_EQ(del(1), failure(-1, kListDelError));
    EXPECT_EQ(listed(), Lines{});
}

TEST_F(DnsFilterTest, ListIsKeptWhileTheFilterIsOff) {
    ASSERT_EQ(add("a.example"), success());
    ASSERT_EQ(add("b.example"), success());
    ASSERT_EQ(add("c.example"), success());
    EXPECT_EQ(list(), "(missing)");
    EXPECT_EQ(add("b.example"), failure(-1, kListAddError));
    EXPECT_EQ(add("B.example"), success());
    EXPECT_EQ(del(4), success());
    EXPECT_EQ(del(3), success());
    EXPECT_EQ(add("d.example"), success());
    EXPECT_EQ(del(2), success());
    EXPECT_EQ(add("e.example"), success());
    EXPECT_EQ(listed(), (Lines{"1 a.example", "3 d.example", "4 e.example"}));
    EXPECT_EQ(del(2), failure(kInputError, kListDelError));
    EXPECT_EQ(del(-1), failure(kInputError, kListDelError));
    EXPECT_EQ(calls(), Names{});
    provision("1 0", 100);
    EXPECT_EQ(add("a.example"), failure(-2, kListAddError));
    EXPECT_EQ(del(1), success());
    EXPECT_EQ(add("a.example"), success());
    EXPECT_EQ(listed().back(), "101 a.example");
    EXPECT_EQ(del(101), failure(kInputError, kListDelError));
}

TEST_F(DnsFilterTest, StrangeDomains) {
    provision("1 1");
    write_rule_list("");
    EXPECT_EQ(add(std::string(300, 'x')), success());
    EXPECT_EQ(list(), std::string(255, 'x') + "\n");
    EXPECT_EQ(add(R"(a\nb.example)"), failure(kInputError, kListAddError));
    EXPECT_EQ(add(R"('; $(reboot)\t\r\u0001 é)"), success());
    EXPECT_EQ(listed(), (Lines{"1 " + std::string(255, 'x'), "2 '; $(reboot)\t\r\1 é"}));
}

TEST_F(DnsFilterTest, FileThatCannotBeWrittenIsReportedAndNeverHalfThere) {
    provision("1 1", 3);
    write_rule_list("old.example\n");
    std::ofstream(list_) << "old.example\n";
    {
        const FullDisk full;
        EXPECT_EQ(igdCmSecureDnsFilterListReload(), -1);
        EXPECT_EQ(list(), "(missing)");
        EXPECT_EQ(igdCmSecureDnsFilterListInit(), -1);
    }
    EXPECT_EQ(list(), "(missing)");
    EXPECT_EQ(rule_list(), "old.example\n");
    fs::create_directory(list_);
    EXPECT_EQ(add("a.example"), failure(-1, kListAddError));
    EXPECT_EQ(listed().size(), 4u);
    provision("1 0");
    EXPECT_EQ(add("a.example"), failure(-1, kListAddError));
    EXPECT_EQ(calls(), Names{});
    expect_no_leftovers();
}

TEST_F(DnsFilterTest, LinksUnderTheFilesNamesAreReplacedNotFollowed) {
    provision("1 1", 1);
    write_rule_list("");
    std::ofstream(folder_ / "victim") << "precious";
    fs::create_symlink(folder_ / "victim", list_);
    fs::create_symlink(folder_ / "victim", list_.string() + ".new");
    EXPECT_EQ(igdCmSecureDnsFilterListReload(), 0);
    EXPECT_EQ(text_of(folder_ / "victim"), "precious");
    EXPECT_FALSE(fs::is_symlink(list_));
    EXPECT_EQ(rule_list(), "d1.example\n");
}

TEST_F(DnsFilterTest, StartOfTheListDiffersFromAReload) {
    std::ofstream(list_) << "old.example\n";
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), 0);
    EXPECT_EQ(list(), "old.example\n");  // no domains: nothing is touched
    provision("1 0", 2);
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), 0);
    EXPECT_EQ(list(), "(missing)");
    provision("1 0 2 1", 2);
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), -1);  // two rules without address
    provision("1 1", 2);
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), -1);  // the rule has no host list yet
    write_rule_list("");
    EXPECT_EQ(calls(), Names{});
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), 0);
    EXPECT_EQ(calls(), Names{kSet});
    EXPECT_EQ(rule_list(), "d1.example\nd2.example\n");
    provision("1 1");
    ASSERT_EQ(add(""), success());
    EXPECT_EQ(list(), "");
    calls();
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), 0);
    EXPECT_EQ(list(), "(missing)");  // no domain is worth a file
    EXPECT_EQ(calls(), Names{});
}

TEST_F(DnsFilterTest, SetOfAListedDomainChangesNothing) {
    provision("1 0", 2);
    const auto before = read_package("app_dnsfilter");
    IgdSecurDnsFilterListTab request{.ulIndex = 2, .aucFilterDomain = "z.example", .ulBitmap = 1};
    EXPECT_EQ(igdCmSecureDnsFilterListSet(&request, sizeof(request)), 0);
    EXPECT_EQ(listed()[1], "2 d2.example");
    request.ulIndex = 100;
    EXPECT_EQ(igdCmSecureDnsFilterListSet(&request, sizeof(request)), -1);
    request.ulIndex = 101;
    EXPECT_EQ(igdCmSecureDnsFilterListSet(&request, sizeof(request)), kInputError);
    EXPECT_EQ(read_package("app_dnsfilter"), before);
}

TEST_F(DnsFilterTest, LinesAreWhatCollectorsMatch) {
    provision("");
    recording_platform::open_log(true);
    testing::internal::CaptureStdout();
    EXPECT_EQ(add("a.example"), success());
    EXPECT_EQ(add("a.example"), failure(-1, kListAddError));
    EXPECT_EQ(del(7), failure(kInputError, kListDelError));
    Rule request = rule(0, 3);
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -4);
    provision("1 1 2 0");
    EXPECT_EQ(igdCmSecureDnsFilterListReload(), -1);
    const std::string lines = std::regex_replace(testing::internal::GetCapturedStdout(),
                                                 std::regex(R"(\(\d+\)\])"), "()]");
    EXPECT_EQ(
        lines,
        "[CM:igdCmSecureDnsFilterListAdd()]add new index[1] to mib\t\n\r\n"
        "[CM:igdCmSecureDnsFilterListReload()]DNS Filter config table is empty !\r\n\r\n"
        "[CM:igdCmSecureDnsFilterListAdd()]aucFilterDomain[a.example] has same item, "
        "return\t\n\r\n"
        "[CM:igdCmSecureDnsFilterListDel()]not found index(7), return\t\n\r\n"
        "[CM:igdCmDnsFilterConfigAdd()]cannot find the index(3), lTotalNum = 0\n\r\n"
        "[CM:igdCmSecureDnsFilterListReload()]DNS Filter list table is empty !\r\n\r\n"
        "[CM:igdCmDnsFilterConfigSet()]error: MAC same, "
        "pIgdCmDnsFilterConfigTab->ucIndex[1], "
        "pIgdCmDnsFilterConfigTab->aucMACAddress[]\t\n\r\n"
        "[CM:igdCmSecureDnsFilterListReload()]igdCmDnsFilterConfigSet fail, ret = -3\r\n\r\n");
}

}  // namespace
