#include <cstring>
#include <functional>
#include <memory>
#include <sstream>

#include "core/result.h"
#include "qos/qos.h"
#include "qos/upstream/flow_limit_texts.h"
#include "support/module_test.h"

using namespace appcfg;
using namespace appcfg::qos;
using recording_platform::take;

namespace {

std::ostream& operator<<(std::ostream& out, const st_qos_port_limit& limit) {
    return out << limit.port << "=" << limit.rate;
}
std::ostream& operator<<(std::ostream& out, const st_qos_vlan_limit& limit) {
    return out << limit.vlan << "=" << limit.rate;
}
std::ostream& operator<<(std::ostream& out, const st_qos_ip_limit& limit) {
    return out << limit.start << "-" << limit.end << "=" << limit.rate;
}

/// The entries of a text up to the last one that says something; "!" stands before one that does
/// not count. The table lies at the end of its memory.
template <class Limit>
std::string parsed(void (*resolve)(const char*, Limit (&)[10]), const std::string& text) {
    const auto table = std::make_unique<Limit[]>(10);
    resolve(std::vector<char>(text.c_str(), text.c_str() + text.size() + 1).data(),
            *reinterpret_cast<Limit(*)[10]>(table.get()));
    std::ostringstream all;
    size_t end = 0;
    for (int i = 0; i < 10; ++i) {
        all << (table[i].valid == 1 ? "" : "!") << table[i] << " ";
        if (table[i].valid == 1 || table[i].rate != 0) end = all.view().size();
    }
    return all.str().substr(0, end);
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

TEST(FlowLimitTexts, HostileOnesFillNoMoreThanTheTable) {
    const auto ports =
        std::bind_front(parsed<st_qos_port_limit>, igdCmQosUniLimitResolveFromString);
    EXPECT_EQ(ports(",,LAN2/LAN3//7.5e2,/,SSID4"), "4=750 2048=0 ");
    EXPECT_EQ(ports("lan1/5,LAN1"), "!0=0 !0=5 1=0 ");
    EXPECT_EQ(ports(repeated("LAN1/2,", 12)), repeated("1=2 ", 10));
    EXPECT_EQ(ports(std::string(127, 'L')), "");
    EXPECT_EQ(ports(repeated("/", 122) + "LAN1,5"), "1=0 ") << "read beyond 127 characters";

    const auto vlans =
        std::bind_front(parsed<st_qos_vlan_limit>, igdCmQosVlanLimitResolveFromString);
    EXPECT_EQ(vlans("100/20,,200/5.5,x"), "100=20 200=5.5 0=0 ");
    EXPECT_EQ(vlans(std::string(127, '9')), "4294967295=0 ");

    const auto ranges = std::bind_front(parsed<st_qos_ip_limit>, igdCmQosIpLimitResolveFromString);
    EXPECT_EQ(ranges("10.0.0.1-10.0.0.9/100,::1-::f/5,a"), "10.0.0.1-10.0.0.9=100 ::1-::f=5 a-=0 ");
    EXPECT_EQ(ranges(std::string(60, 'a') + "-" + std::string(60, 'b') + "/1"),
              std::string(39, 'a') + "-" + std::string(39, 'b') + "=1 ");
}

struct FlowLimitTest : ModuleTest {
    FlowLimitTest() : ModuleTest(register_tables) {}
};

TEST_F(FlowLimitTest, OneTextAloneTakesTheOthersOfItsDirectionAway) {
    write_package("app_qos",
                  "config IGD_QOS_BASIC_ATTR_TAB\n\toption ucQosEnable '1'\n"
                  "config IGD_QOS_FLOW_LIMIT_ATTR_TAB\n"
                  "\toption ucUpLimitMode '1'\n\toption aucUpLanLimit 'LAN1/1'\n"
                  "\toption ucDownLimitMode '2'\n\toption aucDownVlanLimit '45/1'\n"
                  "\toption aucDownIpLimit 'a-b/1'\n");
    FlowLimit request{.ulBitmap = FlowLimit::DownVlanLimit};
    const auto set = [&] { return igdCmQosFlowLimitAttrSet(&request, sizeof(request)); };
    EXPECT_EQ(set(), IGD_CM_GLOBAL_INPUT_PARA_ERROR) << "no text";
    EXPECT_EQ(calls(), Names{});
    std::strcpy(request.aucDownVlanLimit, "46/2");
    EXPECT_EQ(set(), 0);
    const auto sent = take();
    EXPECT_EQ(sent[0].word(12) + sent[0].word(488 + 4), 1u + 45u) << "what is lifted";
    EXPECT_EQ(sent[1].word(12) + sent[1].word(492), 1u + 46u);
    EXPECT_EQ(igdCmQosFlowLimitAttrGet(&request, sizeof(request)), 0);
    EXPECT_STREQ(request.aucUpLanLimit, "LAN1/1");
    EXPECT_STREQ(request.aucDownVlanLimit, "46/2");
    EXPECT_STREQ(request.aucDownIpLimit, "");
}

}  // namespace
