#include "netapp/loopback.h"

#include <cstring>

#include "support/module_test.h"

using namespace appcfg;

namespace {

using recording_platform::refuse;
using Settings = IgdSysmngLoopdetectAttrConfTab;
using Tags = std::vector<uint32_t>;

constexpr char kTimeSet[] = "zu_zu_loopback_detection_time_set_call";
constexpr char kStart[] = "zu_zu_loopback_detection_start_call";
constexpr char kStored[] =
    "\nconfig IGD_SYSMNG_LOOPDETECT_ATTR_TAB\n\toption ucLoopbackEnable '1'\n"
    "\toption ucPkgPerSec '-2'\n\toption ucLoopExistPeriod '5'\n"
    "\toption ucLoopCancelPeriod '70000'\n\toption aucVlanTag 'untagged,100,200'\n"
    "\toption aucLoopEthType '88b5'\n\n";

struct LoopbackTest : ModuleTest {
    LoopbackTest() : ModuleTest(register_loopback_tables) { write_package("app_netapp", kStored); }

    static int32_t set(Settings request, uint32_t bitmap) {
        request.ulBitmap = bitmap;
        return igdCmSysmngLoopbackAttrSet(&request, sizeof(request));
    }
    /// The tags and the ethertype that the last port was started with.
    static std::pair<Tags, uint32_t> probes() {
        const auto last = recording_platform::take().at(20);
        Tags tags;
        for (uint32_t i = 0; i < last.word(40) && i < 8; ++i)
            tags.push_back(last.word(8 + 4 * i));
        return {tags, last.word(44)};
    }
};

TEST_F(LoopbackTest, AnyTextsMakeVlansAndAnEthertype) {
    const struct {
        const char* vlans;
        Tags tags;
        const char* ethertype;
        uint32_t number;
    } cases[] = {
        {"", {}, "", 0},
        {",,5", {5}, "none", 0},
        {"100,untagged,", {100, 0}, "0x88B5", 0x88b5},
        {"untaggedx,12untagged", {0, 12}, "12zz", 0x12},
        {"7,8 9, ,0x10,4094;3", {7, 8, 0, 0, 4094}, "0xzz", 0},
        {"99999999999999999999,1", {0x7fffffff, 1}, ",9000", 0},
        {"1,2,3,4,5,6,7,8,9,10", {1, 2, 3, 4, 5, 6, 7, 8}, "fffffff", 0xfffffff},
        {"$(reboot)`x`;,%n%s,\\,'\"", {0, 0, 0, 0}, "%n%s", 0},
    };
    for (const auto& c : cases) {
        Settings request{};
        std::strcpy(request.aucVlanTag, c.vlans);
        std::strcpy(request.aucLoopEthType, c.ethertype);
        ASSERT_EQ(set(request, 8 | 16), 0);
        EXPECT_EQ(probes(), std::pair(c.tags, c.number)) << c.vlans << ' ' << c.ethertype;
    }
    Settings endless;
    std::memset(&endless, '1', sizeof(endless));
    std::memset(endless.aucVlanTag, ',', sizeof(endless.aucVlanTag));
    ASSERT_EQ(set(endless, 8 | 16), 0);
    EXPECT_EQ(probes(), std::pair(Tags{}, 0x1111111u));
}

TEST_F(LoopbackTest, SelectedSettingsAreStoredWhateverThePlatformSays) {
    Settings request{.ucLoopbackEnable = 7};
    std::strcpy(request.aucVlanTag, "100,200,300,400,500,600,700,8001");
    request.ucLoopExistPeriod = 12;
    request.ucLoopCancelPeriod = 13;
    request.ucPkgPerSec = 11;
    EXPECT_EQ(set(request, 1), 268435457);
    EXPECT_TRUE(calls().empty());
    refuse(kTimeSet);
    refuse(kStart, 17);
    const std::pair<uint32_t, std::vector<uint32_t>> steps[] = {
        {2, {12, 70000, 0xfffffffe}}, {4, {12, 13, 0xfffffffe}}, {8 | 32, {12, 13, 11}}};
    for (const auto& [bits, timing] : steps) {
        EXPECT_EQ(set(request, bits), 17);
        EXPECT_EQ(recording_platform::take().at(0).words(), timing) << bits;
    }
    EXPECT_NE(read_package("app_netapp").find("'100,200,300,400,500,600,700,800'"),
              std::string::npos);  // the package keeps 31 characters
}

}  // namespace
