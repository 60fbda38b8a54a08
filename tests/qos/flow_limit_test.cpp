#include <cstring>

#include "core/result.h"
#include "qos/qos.h"
#include "qos/upstream/flow_limit_texts.h"
#include "support/module_test.h"

using namespace appcfg;
using namespace appcfg::qos;
using recording_platform::Call;
using recording_platform::take;

namespace {

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%g", value);
    return text;
}

std::string told(const st_qos_port_limit& limit) {
    return std::to_string(limit.port) + "=" + number(limit.rate);
}
std::string told(const st_qos_vlan_limit& limit) {
    return std::to_string(limit.vlan) + "=" + number(limit.rate);
}
std::string told(const st_qos_ip_limit& limit) {
    return std::string(limit.start) + "-" + limit.end + "=" + number(limit.rate);
}

/// The entries of a text up to the last one that says something; "!" stands before one that does
/// not count. What lies behind the table must stay as it is.
template <class Limit>
std::string parsed(void (*resolve)(const char*, Limit (&)[10]), const std::string& text) {
    struct {
        Limit limits[10];
        uint8_t behind[64];
    } table{};
    const Limit none{};
    resolve(std::vector<char>(text.c_str(), text.c_str() + text.size() + 1).data(), table.limits);
    for (const uint8_t byte : table.behind)
        EXPECT_EQ(byte, 0);
    std::string all, gap;
    for (const Limit& limit : table.limits) {
        const bool blank = std::memcmp(&limit, &none, sizeof(none)) == 0;
        gap += (limit.valid == 1 ? "" : "!") + told(limit) + " ";
        if (!blank) all += std::exchange(gap, "");
    }
    return all;
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

TEST(FlowLimitTexts, Ports) {
    const auto ports = [](const std::string& text) {
        return parsed(igdCmQosUniLimitResolveFromString, text);
    };
    EXPECT_EQ(ports("LAN1/100,SSID2/50"), "1=100 512=50 ");
    EXPECT_EQ(ports("LAN2/LAN3/7.5e2"), "4=750 ");
    EXPECT_EQ(ports(",,LAN4//,8/,SSID4"), "8=8 2048=0 ");
    EXPECT_EQ(ports("lan1/5,LAN1"), "!0=0 !0=5 1=0 ");
    EXPECT_EQ(ports(repeated("LAN1/2,", 12)), repeated("1=2 ", 10));
    EXPECT_EQ(ports(repeated("LAN1,", 25)), "1=0 ");
    EXPECT_EQ(ports(repeated("/,", 63) + "9"), "!0=9 ");
    EXPECT_EQ(ports(std::string(127, 'L')), "");
    EXPECT_EQ(ports(repeated("/", 123) + "LAN1,5"), "1=0 ") << "read beyond 127 characters";
}

TEST(FlowLimitTexts, Vlans) {
    const auto vlans = [](const std::string& text) {
        return parsed(igdCmQosVlanLimitResolveFromString, text);
    };
    EXPECT_EQ(vlans("100/20,200/5.5"), "100=20 200=5.5 ");
    EXPECT_EQ(vlans("45,,x/7"), "45=0 7=0 ");
    EXPECT_EQ(vlans(repeated("1/2,", 31)), repeated("1=2 ", 10));
    EXPECT_EQ(vlans(std::string(127, '9')), "4294967295=0 ");
}

TEST(FlowLimitTexts, Addresses) {
    const auto ranges = [](const std::string& text) {
        return parsed(igdCmQosIpLimitResolveFromString, text);
    };
    EXPECT_EQ(ranges("10.0.0.1-10.0.0.9/100,2001:db8::1-2001:db8::f/5"),
              "10.0.0.1-10.0.0.9=100 2001:db8::1-2001:db8::f=5 ");
    EXPECT_EQ(ranges("10.0.0.1-"), "10.0.0.1-=0 ");
    EXPECT_EQ(ranges(std::string(60, 'a') + "-" + std::string(60, 'b') + "/1"),
              std::string(39, 'a') + "-" + std::string(39, 'b') + "=1 ");
    EXPECT_EQ(ranges(repeated("a-b/1,", 21)), repeated("a-b=1 ", 10));
}

struct FlowLimitTest : ModuleTest {
    FlowLimitTest() : ModuleTest(register_tables) {}

    void provision(int enabled, const std::string& options) {
        write_package("app_qos", "config IGD_QOS_BASIC_ATTR_TAB\n\toption ucQosEnable '" +
                                     std::to_string(enabled) +
                                     "'\nconfig IGD_QOS_FLOW_LIMIT_ATTR_TAB\n" + options);
    }
    static int32_t set(FlowLimit request) {
        return igdCmQosFlowLimitAttrSet(&request, sizeof(request));
    }
};

double real(const Call& call, size_t offset) {
    double value;
    std::memcpy(&value, &call.record[offset], sizeof(value));
    return value;
}

TEST_F(FlowLimitTest, EveryTableIsWhereThePlatformLooksForIt) {
    provision(1, "");
    FlowLimit request{.ulBitmap = FlowLimit::All};
    const auto enabled = [&](uint8_t up, uint8_t down) {
        request.ucUpLimitMode = up;
        request.ucDownLimitMode = down;
        EXPECT_EQ(set(request), 0);
        return take()[1];
    };
    for (char* text : {request.aucUpLanLimit, request.aucDownLanLimit})
        std::strcpy(text, repeated("LAN4/8,", 10).c_str());
    for (char* text : {request.aucUpVlanLimit, request.aucDownVlanLimit})
        std::strcpy(text, repeated("45/8,", 10).c_str());
    for (char* text : {request.aucUpIpLimit, request.aucDownIpLimit})
        std::strcpy(text, repeated("::1-::2/8,", 10).c_str());
    Call call = enabled(1, 2);
    EXPECT_EQ(call.record.size(), 2568u);
    EXPECT_EQ(call.word(0) * 10 + call.word(4), 12u);
    EXPECT_EQ(call.word(8 + 4), 8u);
    EXPECT_EQ(real(call, 8 + 9 * 16 + 8), 8);
    EXPECT_EQ(call.word(488 + 4), 45u);
    EXPECT_EQ(real(call, 488 + 9 * 16 + 8), 8);
    EXPECT_EQ(call.word(168) + call.word(328) + call.word(648) + call.word(1608), 0u);
    call = enabled(2, 1);
    EXPECT_EQ(call.word(328 + 4), 45u);
    EXPECT_EQ(call.word(168 + 4), 8u);
    call = enabled(3, 3);
    for (const size_t at : {648, 1608}) {
        EXPECT_EQ(call.text(at + 4) + call.text(at + 44), "::1::2");
        EXPECT_EQ(real(call, at + 9 * 96 + 88), 8);
    }
}

TEST_F(FlowLimitTest, OneTextAloneTakesTheOthersOfItsDirectionAway) {
    provision(1,
              "\toption ucUpLimitMode '1'\n\toption aucUpLanLimit 'LAN1/1'\n"
              "\toption ucDownLimitMode '2'\n\toption aucDownVlanLimit '45/1'\n"
              "\toption aucDownIpLimit 'a-b/1'\n");
    FlowLimit request{.ulBitmap = FlowLimit::DownVlanLimit};
    EXPECT_EQ(set(request), IGD_CM_GLOBAL_INPUT_PARA_ERROR) << "no text";
    std::strcpy(request.aucDownVlanLimit, "46/2");
    request.ulBitmap = FlowLimit::DownIpLimit;
    EXPECT_EQ(set(request), IGD_CM_GLOBAL_INPUT_PARA_ERROR) << "not the mode's text";
    EXPECT_EQ(calls(), Names{});
    request.ulBitmap = FlowLimit::DownVlanLimit;
    EXPECT_EQ(set(request), 0);
    const auto sent = take();
    EXPECT_EQ(sent[0].word(12) + sent[0].word(488 + 4), 1u + 45u) << "what is lifted";
    EXPECT_EQ(real(sent[0], 16) + real(sent[0], 496), 0);
    EXPECT_EQ(sent[1].word(492), 46u);
    EXPECT_EQ(real(sent[1], 16), 1);
    FlowLimit stored{};
    EXPECT_EQ(igdCmQosFlowLimitAttrGet(&stored, sizeof(stored)), 0);
    EXPECT_STREQ(stored.aucUpLanLimit, "LAN1/1");
    EXPECT_STREQ(stored.aucDownVlanLimit, "46/2");
    EXPECT_STREQ(stored.aucDownIpLimit, "");
}

TEST_F(FlowLimitTest, OnlyOneActionLooksPastTheSwitchAndOneAtTheStoredModes) {
    FlowLimit limits{.ucUpLimitMode = 2, .aucUpVlanLimit = "45/8"};
    provision(0, "\toption ucUpLimitMode '1'\n");
    EXPECT_EQ(igdCmQosFlowLimitAttrDistribute(limits, 1), 0);
    EXPECT_EQ(igdCmQosFlowLimitAttrDistribute(limits, 2), 0);
    EXPECT_EQ(calls(), Names{});
    EXPECT_EQ(igdCmQosFlowLimitAttrDistribute(limits, 3), 0);
    EXPECT_EQ(take().at(0).word(0), 2u);
    provision(1, "\toption ucUpLimitMode '1'\n");
    EXPECT_EQ(igdCmQosFlowLimitAttrDistribute(limits, 2), 0);
    EXPECT_EQ(take().at(0).word(0), 1u);
}

}  // namespace
