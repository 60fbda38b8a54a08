#include <gtest/gtest.h>

#include "platform/linux/services/loopback_detector.h"
#include "platform/linux/services/loopback_probe.h"

using namespace platform;
using namespace platform::platformd::loopback;

namespace {

const Probe kProbe{0x01020304, 3, 100, 0xABCDEF, 0x1122334455667788};

std::vector<uint8_t> frame_of(const Probe& probe, uint16_t ethertype) {
    ProbeFrame buffer;
    const auto frame = compose(probe, ethertype, buffer);
    return {frame.begin(), frame.end()};
}

std::string text_of(const std::vector<uint8_t>& frame) {
    std::string text;
    for (const auto byte : frame)
        text += "0123456789abcdef"[byte >> 4], text += "0123456789abcdef"[byte & 15];
    return text.substr(0, text.find_last_not_of('0') + 1) + '/' + std::to_string(frame.size());
}

TEST(LoopbackTest, AProbeSaysWhoseItIs) {
    auto probe = kProbe;
    EXPECT_EQ(
        "ffffffffffff020102030403810000649000"
        "6c6f6f70010203040003006400abcdef1122334455667788/64",
        text_of(frame_of(probe, 0x9000)));
    probe.tag = 0;
    EXPECT_EQ(
        "ffffffffffff02010203040388b5"
        "6c6f6f70010203040003000000abcdef1122334455667788/60",
        text_of(frame_of(probe, 0x88b5)));
}

TEST(LoopbackTest, OnlyOurProbesAreRecognised) {
    auto frame = frame_of(kProbe, 0x9000);
    Probe found;
    EXPECT_FALSE(recognise(frame, 0x9000, kProbe.gateway, found));
    frame.erase(frame.begin() + 12, frame.begin() + 16);  // the tag
    ASSERT_TRUE(recognise(frame, 0x9000, kProbe.gateway, found));
    EXPECT_EQ(kProbe, found);
    EXPECT_FALSE(recognise(frame, 0x9001, kProbe.gateway, found));
    EXPECT_FALSE(recognise(frame, 0x9000, kProbe.gateway + 1, found));
    for (size_t size = 0; size < 38; ++size) {
        const std::vector<uint8_t> cut(frame.begin(), frame.begin() + size);
        EXPECT_FALSE(recognise(cut, 0x9000, kProbe.gateway, found));
    }
    frame[14] ^= 1;
    EXPECT_FALSE(recognise(frame, 0x9000, kProbe.gateway, found));
}

/// Ports as one text, in their order: `.` in no loop, `o` in one and open, `x` to be closed.
struct Story {
    static constexpr Periods kPeriods{.probe = 100, .exist = 1000, .cancel = 2000};

    std::string ports(uint32_t count) const {
        std::string text;
        for (uint32_t port = 0; port < count; ++port)
            text += detector.to_close(port) ? 'x' : detector.in_loop(port) ? 'o' : '.';
        return text;
    }

    /// As many rounds, in each of which the probes of `from` come in at `at`.
    void pass(int rounds, uint32_t from, uint32_t at) {
        for (int i = 0; i < rounds; ++i, now += kPeriods.probe) {
            detector.came_back(from, at, now - kPeriods.probe);
            detector.look(now, kPeriods);
        }
    }

    void pass(int rounds) {
        for (int i = 0; i < rounds; ++i, now += kPeriods.probe)
            detector.look(now, kPeriods);
    }

    Detector detector;
    int64_t now = 100;
};

TEST(LoopbackTest, ALoopCountsFromTheExistPeriodOnUntilTheCancelPeriodHasPassed) {
    Story story;
    story.pass(9, 3, 1);
    EXPECT_EQ("....", story.ports(4));
    story.pass(1, 3, 1);
    EXPECT_EQ(".o.x", story.ports(4));
    story.pass(19);
    EXPECT_EQ(".o.x", story.ports(4));
    story.pass(1, 1, 3);
    story.pass(19);
    EXPECT_EQ(".o.x", story.ports(4));
    story.pass(1);
    EXPECT_EQ("....", story.ports(4));
    story.pass(1, 3, 1);
    story.pass(15);
    EXPECT_EQ("....", story.ports(4));
    story.pass(1, 3, 1);
    EXPECT_EQ(".o.x", story.ports(4));
}

TEST(LoopbackTest, EveryLoopIsOpenedAtItsHigherEnd) {
    Story story;
    for (int i = 0; i < 11; ++i) {
        story.pass(1, 2, 4);
        story.detector.came_back(0, 2, story.now);
        story.detector.came_back(4, 0, story.now);
        story.detector.came_back(1, 1, story.now);
    }
    story.pass(1, 2, 4);
    EXPECT_EQ("oxx.x", story.ports(5));
    story.detector.forget(4);
    EXPECT_EQ("oxx..", story.ports(5));
    story.detector.assume_closed(3, story.now);
    story.pass(20);
    EXPECT_EQ("...x.", story.ports(5));
    story.pass(1);
    EXPECT_EQ(".....", story.ports(5));
}

TEST(LoopbackTest, PeriodsAreSecondsAndProbesHaveARateThatCanBe) {
    const auto periods = [](st_loopback_detection_time time) {
        const auto given = periods_of(time);
        return std::array{given.probe, given.exist, given.cancel};
    };
    EXPECT_EQ((std::array<int64_t, 3>{1000, 5000, 30000}), periods({0, 0, 0}));
    EXPECT_EQ((std::array<int64_t, 3>{10, 1000, 2000}), periods({1, 2, 101}));
    EXPECT_EQ((std::array<int64_t, 3>{1000, 4294967295000, 3000}), periods({UINT32_MAX, 1, 1}));
}

TEST(LoopbackTest, TheBridgeDropsProbesOfAllTypesThatAreSent) {
    const auto rules = [](std::map<uint32_t, st_loopback_detection_attr> ports) {
        platformd::enforce::RuleText text;
        render({{}, std::move(ports)}, 0x2a, text);
        return text.text();
    };
    const auto rule = [](const std::string& type) {
        return "add rule bridge appcfg loop_probe meta protocol " + type +
               " @nh,0,64 0x6c6f6f700000002a drop\n";
    };
    EXPECT_EQ("", rules({{0, {0, 0, {}, 0, 0x88b5}}}));
    EXPECT_EQ(rule("0x88b5") + rule("0x9000"), rules({{0, {1, 0, {}, 0, 0x8100}},
                                                      {1, {1, 1, {}, 0, 0x5ff}},
                                                      {2, {1, 2, {}, 0, 0x88b5}},
                                                      {3, {0, 3, {}, 0, 0x88b6}}}));
    EXPECT_EQ(std::vector<uint16_t>{0}, tags_of({1, 0, {7}, 0, 0}));
    EXPECT_EQ((std::vector<uint16_t>{7, 0}), tags_of({1, 0, {7, 0, 9}, 2, 0}));
}

}  // namespace
