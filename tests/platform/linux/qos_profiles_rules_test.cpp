#include "platform/linux/services/qos_profiles_rules.h"

#include <gtest/gtest.h>

using namespace platform::platformd;

namespace {

TEST(QosProfilesRulesTest, AFramesMarkNamesTheClassOfItsHost) {
    enforce::RuleText text;
    qos_profiles::render({{.id = 1, .first_rate = 500}, {.id = 127, .first_rate = 800}}, text);
    EXPECT_EQ(
        "add rule bridge appcfg host_up meta priority set meta mark & 0xfe000000 map "
        "{ 0x02000000 : a001:1, 0xfe000000 : a001:7f }\n"
        "add rule bridge appcfg host_out meta mark set meta mark & 0x00ffffff | 0x01000000\n"
        "add rule bridge appcfg host_dn meta mark & 0x01000000 != 0 meta priority set "
        "meta mark & 0xfe000000 map { 0x02000000 : a002:1, 0xfe000000 : a002:7f }\n"
        "add rule bridge appcfg host_dn meta mark set meta mark & 0x00ffffff\n"
        "add rule bridge appcfg host_up meta mark set meta mark & 0x00ffffff\n",
        text.text());
    enforce::RuleText none;
    qos_profiles::render({}, none);
    EXPECT_EQ("add rule bridge appcfg host_up meta mark set meta mark & 0x00ffffff\n", none.text());
}

}  // namespace
