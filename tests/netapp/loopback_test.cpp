#include "netapp/loopback.h"

#include <cstring>

#include "support/module_test.h"
#include "support/recording_bus.h"

namespace {

using recording_platform::Call;
using recording_platform::refuse;

constexpr char kTimeSet[] = "zu_zu_loopback_detection_time_set_call";
constexpr char kStart[] = "zu_zu_loopback_detection_start_call";
constexpr char kResultGet[] = "zu_zu_loopback_detection_result_get_call";
constexpr char kStored[] =
    "\nconfig IGD_SYSMNG_LOOPDETECT_ATTR_TAB\n\toption ucLoopbackEnable '1'\n"
    "\toption ucPkgPerSec '-2'\n\toption ucLoopExistPeriod '5'\n"
    "\toption ucLoopCancelPeriod '70000'\n\toption aucVlanTag 'untagged,100,200'\n"
    "\toption aucLoopEthType '88b5'\n\n";

struct LoopbackTest : ModuleTest {
    LoopbackTest() : ModuleTest(register_loopback_tables) { write_package("app_netapp", kStored); }

    static BusReply call(const std::string& method, const std::string& json = "{}") {
        return call_method(loopback_bus_object(), method, json);
    }
    static BusReply start(const std::string& vlans = "7", const std::string& ethertype = "1234") {
        return call("loopback_detection_start",
                    R"({"ucLoopbackEnable":2,"ucPkgPerSec":9,"ucLoopExistPeriod":9,)"
                    R"("ucLoopCancelPeriod":9,"aucVlanTag":")" +
                        vlans + R"(","aucLoopEthType":")" + ethertype + "\"}");
    }
    static BusReply result_get(int port) {
        return call("loopback_detection_result_get", "{\"ucPortId\":" + std::to_string(port) + "}");
    }
    static int32_t set(IgdSysmngLoopdetectAttrConfTab request) {
        return igdCmSysmngLoopbackAttrSet(&request, sizeof(request));
    }
    /// The start call of port 0 after VLAN list and ethertype were set to these.
    static Call started_with(const char* vlans, const char* ethertype) {
        IgdSysmngLoopdetectAttrConfTab request{};
        std::strcpy(request.aucVlanTag, vlans);
        std::strcpy(request.aucLoopEthType, ethertype);
        request.ulBitmap = 8 | 16;
        EXPECT_EQ(set(request), 0);
        const auto sent = recording_platform::take();
        return sent.size() == 21 ? sent[1] : Call{"", false, std::vector<uint8_t>(48, 0xee)};
    }
    static std::vector<uint32_t> tags(const Call& start) {
        std::vector<uint32_t> tags;
        for (uint32_t i = 0; i < start.word(40) && i < 8; ++i)
            tags.push_back(start.word(8 + 4 * i));
        return tags;
    }
};

TEST_F(LoopbackTest, StartAppliesWhatIsStoredToEveryPort) {
    ASSERT_EQ(start(), success());
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 21u);
    EXPECT_EQ(sent[0].name, kTimeSet);
    ASSERT_EQ(sent[0].record.size(), 12u);
    EXPECT_EQ(sent[0].word(0), 5u);
    EXPECT_EQ(sent[0].word(4), 70000u);
    EXPECT_EQ(sent[0].word(8), 0xfffffffe);
    for (uint32_t port = 0; port < 20; ++port) {
        const auto& start = sent[1 + port];
        EXPECT_EQ(start.name, kStart);
        EXPECT_FALSE(start.queued);
        ASSERT_EQ(start.record.size(), 48u);
        const uint32_t words[] = {1, port, 0, 100, 200, 0, 0, 0, 0, 0, 3, 0x88b5};
        for (size_t i = 0; i < std::size(words); ++i)
            EXPECT_EQ(start.word(4 * i), words[i]) << "port " << port << " word " << i;
    }
    EXPECT_EQ(read_package("app_netapp"), kStored);
}

TEST_F(LoopbackTest, VlanLists) {
    using Tags = std::vector<uint32_t>;
    const std::string long_list = "1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19";
    ASSERT_EQ(long_list.size(), 47u);
    const struct {
        const char* text;
        Tags tags;
    } cases[] = {
        {"", {}},
        {",,,", {}},
        {",,5", {5}},
        {"untagged,100,200", {0, 100, 200}},
        {"100,untagged,", {100, 0}},
        {"Untagged,untaggedx,12untagged", {0, 0, 12}},
        {" 7,8 9, ,0x10,4094;3", {7, 8, 0, 0, 4094}},
        {"99999999999999999999,1", {0x7fffffff, 1}},
        {"1,2,3,4,5,6,7,8", {1, 2, 3, 4, 5, 6, 7, 8}},
        {long_list.c_str(), {1, 2, 3, 4, 5, 6, 7, 8}},
        {"$(reboot)`x`;,%n%s,\\,'\"", {0, 0, 0, 0}},
        {"12345678901234567890123456789012345678901234567", {0x7fffffff}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(tags(started_with(c.text, "0")), c.tags) << c.text;
}

TEST_F(LoopbackTest, Ethertypes) {
    constexpr struct {
        const char* text;
        uint32_t number;
    } kCases[] = {{"9000", 0x9000}, {"0x88B5", 0x88b5}, {"", 0},
                  {"none", 0},      {"0xzz", 0},        {"x123", 0},
                  {"12zz", 0x12},   {",9000", 0},       {"fffffff", 0xfffffff}};
    for (const auto& c : kCases)
        EXPECT_EQ(started_with("1", c.text).word(44), c.number) << c.text;
}

TEST_F(LoopbackTest, SetChangesWhatItSelectsAndStoresIt) {
    IgdSysmngLoopdetectAttrConfTab request{};
    request.ucLoopbackEnable = 7;  // not selected, so not looked at
    request.ucPkgPerSec = 11;
    request.ucLoopExistPeriod = 12;
    request.ucLoopCancelPeriod = 13;
    std::strcpy(request.aucVlanTag, "100,200,300,400,500,600,700,800,900");
    request.ulBitmap = 4 | 8;
    ASSERT_EQ(set(request), 0);
    const auto sent = recording_platform::take();
    EXPECT_EQ(sent[0].word(0), 5u);
    EXPECT_EQ(sent[0].word(4), 13u);
    EXPECT_EQ(sent[0].word(8), 0xfffffffe);
    EXPECT_EQ(tags(sent[20]), (std::vector<uint32_t>{100, 200, 300, 400, 500, 600, 700, 800}));
    IgdSysmngLoopdetectAttrConfTab stored{};
    ASSERT_EQ(igdCmSysmngLoopbackAttrGet(&stored, sizeof(stored)), 0);
    EXPECT_EQ(uint32_t{stored.ucLoopCancelPeriod}, 13u);
    EXPECT_STREQ(stored.aucVlanTag, "100,200,300,400,500,600,700,800");  // 31 characters
    EXPECT_EQ(uint32_t{stored.ulBitmap}, 63u);

    request.ulBitmap = 1;
    const auto before = read_package("app_netapp");
    EXPECT_EQ(set(request), 268435457);
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(read_package("app_netapp"), before);
}

TEST_F(LoopbackTest, RefusalsStopNothingAndTheLastPortDecides) {
    refuse(kTimeSet);
    EXPECT_EQ(start(), success());
    EXPECT_EQ(calls().size(), 21u);
    IgdSysmngLoopdetectAttrConfTab request{};
    request.ucPkgPerSec = 4;
    request.ulBitmap = 32;
    refuse(kStart, 17, 19);
    EXPECT_EQ(set(request), 17);
    EXPECT_EQ(calls().size(), 21u);
    EXPECT_NE(read_package("app_netapp").find("ucPkgPerSec '4'"), std::string::npos);
    EXPECT_EQ(start(), failure(17, "igdCmSysmngLoopbackAttrSet error"));
}

TEST_F(LoopbackTest, UnreadableRowIsStoredEmpty) {
    static IgdSysmngLoopdetectAttrConfTab written;
    std::memset(&written, 0x55, sizeof(written));
    static constexpr TableDescriptor kUnreadable{
        .id = IGD_SYSMNG_LOOPDETECT_ATTR_TAB,
        .get = [](int32_t, void*) { return 0; },
        .update =
            [](const void* record, int32_t) {
                std::memcpy(&written, record, sizeof(written));
                return 1;
            },
    };
    ASSERT_EQ(mib_chain_register(&kUnreadable, 1), 0);
    EXPECT_EQ(start(), failure(-1, "igdCmSysmngLoopbackAttrSet error"));
    const IgdSysmngLoopdetectAttrConfTab empty{};
    EXPECT_EQ(std::memcmp(&written, &empty, sizeof(empty)), 0);
    EXPECT_EQ(igdCmSysmngLoopbackAttrInit(), -1);
    EXPECT_EQ(call("loopback_detection_time_get"), failure(-1, "igdCmSysmngLoopbackAttrGet error"));
    EXPECT_TRUE(calls().empty());
}

TEST_F(LoopbackTest, StartUpChecksAndAppliesTheStoredRow) {
    EXPECT_EQ(igdCmSysmngLoopbackAttrInit(), 0);
    EXPECT_EQ(calls().size(), 21u);
    EXPECT_EQ(read_package("app_netapp"), kStored);
    write_package("app_netapp",
                  "config IGD_SYSMNG_LOOPDETECT_ATTR_TAB\n\toption ucLoopbackEnable '2'\n");
    EXPECT_EQ(igdCmSysmngLoopbackAttrInit(), 0x10000001);
    EXPECT_TRUE(calls().empty());
    write_package("app_netapp", "config '\n");
    EXPECT_EQ(igdCmSysmngLoopbackAttrInit(), 0);
    EXPECT_EQ(read_package("app_netapp"), "config '\n");
}

TEST_F(LoopbackTest, TimesAreThoseStored) {
    EXPECT_EQ(call("loopback_detection_time_get", R"({"ucPkgPerSec":1})"),
              (BusReply{0, R"({"ucPkgPerSec":-2,"ucLoopExistPeriod":5,)"
                           R"("ucLoopCancelPeriod":70000})"}));
}

TEST_F(LoopbackTest, StateOfAPort) {
    recording_platform::answer(kResultGet, {3, 0, 0, 0, 1, 2, 0, 0});
    EXPECT_EQ(result_get(4), (BusReply{0, R"({"ucPortId":4,"ucLoopStatus":1})"}));
    EXPECT_EQ(result_get(260), (BusReply{0, R"({"ucPortId":4,"ucLoopStatus":1})"}));
    const auto sent = recording_platform::take();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].record, (std::vector<uint8_t>{3, 0, 0, 0, 0, 0, 0, 0}));
    const auto bad_port = failure(268435457, "igdCmSysmngLoopbackStateGet error");
    EXPECT_EQ(result_get(0), bad_port);
    EXPECT_EQ(result_get(5), bad_port);
    EXPECT_TRUE(calls().empty());

    recording_platform::reset();
    refuse(kResultGet, 6);
    IgdSysmngLoopbackStateInfoTab state{.ucPortId = 1, .ucLoopStatus = 9};
    EXPECT_EQ(igdCmSysmngLoopbackStateGet(&state, sizeof(state)), 6);
    EXPECT_EQ(state.ucLoopStatus, 0);
    EXPECT_EQ(result_get(1), failure(6, "igdCmSysmngLoopbackStateGet error"));
}

TEST_F(LoopbackTest, ArgumentsAreRequiredAndLongTextsCut) {
    EXPECT_EQ(call("loopback_detection_start", R"({"ucLoopbackEnable":1,"aucVlanTag":""})"),
              (BusReply{9, R"({"result":-3,"fail_reason":"Parameter ucPkgPerSec is NULL. )"
                           R"(Please try again."})"}));
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(start(std::string(5000, ','), std::string(5000, 'f')), success());
    IgdSysmngLoopbackStateInfoTab state{};
    EXPECT_EQ(igdCmSysmngLoopbackStateGet(&state, sizeof(state) - 1), 268435457);
    EXPECT_EQ(igdCmSysmngLoopbackStateGet(nullptr, sizeof(state)), 268435457);
}

TEST_F(LoopbackTest, LogLinesBearTheOperationsName) {
    recording_platform::open_log(true);
    testing::internal::CaptureStdout();
    refuse(kStart, -1, 19);
    EXPECT_EQ(start("1,2,3,4,5,6,7,8,9"), failure(-1, "igdCmSysmngLoopbackAttrSet error"));
    const auto text = testing::internal::GetCapturedStdout();
    for (const char* line :
         {")]aucVlanTag [1,2,3,4,5,6,7,8,9].\t\n\r\n", ")]ucPkgPerSec [9].\t\n\r\n",
          ")]=============================== zu_loopback_detection_time info start "
          "===============================\t\n\r\n",
          ")]loopback_detection_time.pkt_per_sec [-2].\t\n\r\n",
          ")]VlanList[2] = [000000c8].\t\n\r\n", ")]loopback_detection_attr.tag[1]: 100.\t\n\r\n",
          ")]loopback_detection_attr.ethtype [000088b5].\t\n\r\n",
          ")]call zu_loopback_detection_start() with lRet [ffffffff].\t\n\r\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << " in " << text;
    EXPECT_NE(text.find("[CM:igdCmSysmngResolveLbdtVlanList("), std::string::npos);
    EXPECT_EQ(text.find("[CM:start"), std::string::npos);
}

}  // namespace
