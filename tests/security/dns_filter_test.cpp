#include "records/dns_filter.h"
#include "security/dns_filter/dns_filter.h"

#include <cstring>
#include <filesystem>
#include <regex>
#include <sstream>

#include "security/dns_filter/dns_filter_testing.h"
#include "security/dns_filter/host_list_file.h"
#include "support/module_test.h"

using namespace appcfg;

namespace {

namespace fs = std::filesystem;
using recording_platform::refuse;
using Rule = IgdDnsFilterConfigTab;

int32_t set(Rule request) {
    return igdCmDnsFilterConfigSet(&request, sizeof(request));
}

struct DnsFilterTest : ModuleTest {
    DnsFilterTest() : ModuleTest(register_dns_filter_tables) {
        fs::create_directory(folder_);
        dns_filter_files = {list_.c_str(), rules_.c_str()};
    }

    /// Rules with indexes from 1 upwards and these switches; as many domains, "d" and their index.
    void provision(const std::vector<int>& rules, int domains) {
        std::ostringstream text;
        for (size_t i = 0; i < rules.size(); ++i)
            text << "config IGD_DNS_FILTER_CONFIG_TAB\n\toption ucIndex '" << i + 1
                 << "'\n\toption ucDnsFilterEnable '" << rules[i] << "'\n";
        for (int i = 1; i <= domains; ++i)
            text << "config IGD_SECUR_DNS_FILTER_LIST_TAB\n\toption ulIndex '" << i
                 << "'\n\toption aucFilterDomain 'd" << i << "'\n";
        write_package("app_dnsfilter", text.str());
    }
    /// The rules' switches and the list's domains, each behind its index.
    std::string stored() const {
        const std::regex value("[^']*'([^']*)'\\s*");
        return std::regex_replace(read_package("app_dnsfilter"), value, "$1 ");
    }

    const fs::path folder_ = directory() / "lists";
    const fs::path list_ = folder_ / "list", rules_ = folder_ / "host", rule_ = folder_ / "host_1";
};

TEST_F(DnsFilterTest, SetSendsTheMergedRuleByteForByte) {
    Rule request{1, 1, 2, 1, "", "02:00:00:00:00:01", "ads.example", "", "", "", {}, 0x1bf};
    std::memset(request.aucWeekdays, 'w', 31);
    std::memset(request.aucTime, 't', 63);
    ASSERT_EQ(set(request), 0);
    std::vector<uint8_t> expected{1, 0, 2, 0, 1, 1, 1, 0};
    expected.resize(164);
    const std::string time = std::string(31, 'w') + ";" + std::string(63, 't');
    std::memcpy(&expected[8], time.data(), time.size());
    std::memcpy(&expected[136], request.aucMACAddress, 17);
    expected[160] = 63;
    EXPECT_EQ(recording_platform::take()[0].record, expected);
    EXPECT_EQ(read_file(rule_), "ads.example\n");
    EXPECT_EQ(stored(), "1 1 ");
}

TEST_F(DnsFilterTest, SetLooksAtSelectedMembersOnly) {
    write_file(list_, "a\n");
    write_file(rule_, "");
    // bitmap, mask for the platform, and what spoils the member: where, how often, with what
    constexpr uint32_t kMembers[][5] = {
        {1, 1, offsetof(Rule, ucEnable), 1, 2},
        {4, 2, offsetof(Rule, aucDomain), 1, 0},
        {8, 16, offsetof(Rule, ucAction), 1, 3},
        {32, 8, offsetof(Rule, ucMode), 1, 2},
        {64, 2, offsetof(Rule, aucHostListName), 1, 0},
        {128, 32, offsetof(Rule, aucWeekdays), 32, 'w'},
        {256, 32, offsetof(Rule, aucTime), 64, 't'},
    };
    for (const auto& [bitmap, mask, at, count, spoilt] : kMembers) {
        Rule request{.ucIndex = 1, .aucDomain = "b", .ulBitmap = bitmap};
        std::strcpy(request.aucHostListName, list_.c_str());
        EXPECT_EQ(set(request), 0) << bitmap;
        EXPECT_EQ(recording_platform::take()[0].word(160), mask) << bitmap;
        std::memset(reinterpret_cast<char*>(&request) + at, static_cast<int>(spoilt), count);
        EXPECT_EQ(set(request), 268435457) << bitmap;
        request.ulBitmap = 16;
        EXPECT_EQ(set(request), 0) << bitmap;
    }
    EXPECT_EQ(calls(), Names{});
}

TEST_F(DnsFilterTest, HostListIsTakenOverWholeOrNotAtAll) {
    const std::string text(3 * 4096 + 1, 'x');
    write_file(list_, text);
    Rule request{.ucIndex = 1, .ulBitmap = 64};
    std::strcpy(request.aucHostListName, list_.c_str());
    EXPECT_EQ(set(request), -1);  // the rule has none to be replaced
    write_file(rule_, "old\n");
    {
        const FullDisk full;
        EXPECT_EQ(set(request), -1);
    }
    EXPECT_EQ(read_file(rule_), "old\n");
    EXPECT_FALSE(fs::exists(folder_ / ".host_1.appcfgd-new"));
    EXPECT_EQ(set(request), 0);
    EXPECT_EQ(read_file(rule_), text);
}

TEST_F(DnsFilterTest, LinksAreNeitherFollowedNorRead) {
    provision({1}, 1);
    write_file(rule_, "");
    write_file(folder_ / "victim", "precious");
    for (const char* name : {"list", ".list.appcfgd-new", "link"})
        fs::create_symlink(folder_ / "victim", folder_ / name);
    EXPECT_EQ(igdCmSecureDnsFilterListReload(), 0);
    EXPECT_EQ(read_file(folder_ / "victim"), "precious");
    EXPECT_EQ(copy_dnsfilter_file((folder_ / "link").c_str(), rule_.c_str()), -1);
    EXPECT_EQ(read_file(rule_), "d1\n");
}

// Anybody may make folders in /tmp.
TEST_F(DnsFilterTest, FoldersInTheWayOfAListAreMovedAside) {
    provision({1}, 1);
    write_file(rule_, "");
    for (const char* squatter : {"list", ".list.appcfgd-new"}) {
        fs::remove(folder_ / "list");
        fs::create_directories(folder_ / squatter / "kept");
        EXPECT_EQ(igdCmSecureDnsFilterListReload(), 0);
        EXPECT_TRUE(fs::is_regular_file(folder_ / "list")) << squatter;
        EXPECT_EQ(read_file(rule_), "d1\n");
    }
    EXPECT_TRUE(fs::is_directory(folder_ / ".list.appcfgd-new" / "kept"));
}

TEST_F(DnsFilterTest, RulesAreSwitchedByTheirIndex) {
    provision({0, 0}, 0);
    Rule request{.ucIndex = 2, .ucEnable = 3, .ucAction = 2, .ulBitmap = 0xffffffff};
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), 0);
    EXPECT_EQ(stored(), "1 0 2 3 ");
    EXPECT_EQ(igdCmDnsFilterConfigDel(&request, sizeof(request)), 0);
    EXPECT_EQ(stored(), "1 0 2 0 ");
    calls();
    EXPECT_EQ(set({.ucIndex = 1, .ulBitmap = 1}), -3);  // two rules without address
    EXPECT_EQ(set({.ucIndex = 3, .aucMACAddress = "02:00:00:00:00:01"}), -1);
    provision(std::vector<int>(100), 0);
    EXPECT_EQ(igdCmDnsFilterConfigAdd(&request, sizeof(request)), -2);
    EXPECT_EQ(calls(), Names{});
}

TEST_F(DnsFilterTest, FilesAndStartWhenSomethingIsRefused) {
    provision({1}, 1);
    EXPECT_EQ(igdCmSecureDnsFilterListInit(), -1);  // the rule has no host list yet
    refuse(platform::kDnsFilterAdd.name);
    refuse(platform::kDnsFilterSet.name);
    provision({1, 0}, 0);
    EXPECT_EQ(igdCmDnsFilterConfigInit(), 0);
    EXPECT_EQ(calls().size(), 4u);
}

TEST_F(DnsFilterTest, SetOfADomainReplacesNone) {
    provision({0}, 3);
    IgdSecurDnsFilterListTab request{2, "z", 1};
    EXPECT_EQ(igdCmSecureDnsFilterListSet(&request, sizeof(request)), 0);
    EXPECT_EQ(stored(), "1 0 1 d1 2 d2 3 d3 ");
    request.ulIndex = 101;
    EXPECT_EQ(igdCmSecureDnsFilterListSet(&request, sizeof(request)), 268435457);
}

}  // namespace
