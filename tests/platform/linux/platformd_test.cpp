#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <chrono>

#include "platform/include/records/ip_filter.h"
#include "platform/include/zu_services.h"
#include "platformd_fixture.h"

namespace {

st_filter_list rule(uint32_t direction, const char* wan_address) {
    st_filter_list record{};
    record.em_type = 1;
    record.em_dir = direction;
    record.ui_dst_sport = 80;
    record.ui_dst_eport = 81;
    snprintf(record.ac_dst_sip, sizeof(record.ac_dst_sip), "%s", wan_address);
    return record;
}

int32_t add(st_filter_list record) {
    return call(kIpFilterRuleAdd, record);
}
int32_t remove(st_filter_list record) {
    return call(kIpFilterRuleDel, record);
}
int32_t flush(uint32_t mask) {
    st_flush_chain chains{mask};
    return call(kIpFilterFlushChain, chains);
}

class IpFilterServiceTest : public PlatformdTest {
  protected:
    std::string state() const { return control({"state", "ip_filter"}).out; }

    /// The addresses of the rules held, in order, with the chain's initial.
    std::string rules() const {
        std::istringstream lines(state());
        std::string line, found;
        while (std::getline(lines, line)) {
            const auto at = line.find("ac_dst_sip=\"");
            if (at == line.npos) continue;
            const auto end = line.find('"', at + 12);
            found += line.substr(2, 1) + ':' + line.substr(at + 12, end - at - 12) + ' ';
        }
        return found;
    }
};

TEST_F(IpFilterServiceTest, RulesAreKeptInOrderAndAsOftenAsTheyWereAdded) {
    const auto a = rule(kIpFilterUp, "a"), b = rule(kIpFilterUp, "b"), c = rule(kIpFilterDown, "c");
    for (const auto& added : {a, b, c, a})
        EXPECT_EQ(0, add(added));
    EXPECT_EQ("u:a u:b u:a d:c ", rules());
    EXPECT_EQ(0, remove(a));
    EXPECT_EQ("u:b u:a d:c ", rules());
    EXPECT_EQ(0, remove(a));
    EXPECT_EQ(0, remove(a)) << "what is not there needs no removing";
    EXPECT_EQ(0, remove(rule(kIpFilterDown, "b"))) << "the other direction's rule is another";
    EXPECT_NE(0, add(rule(2, "d")));
    EXPECT_NE(0, remove(rule(2, "d")));
    EXPECT_EQ("u:b d:c ", rules());
}

TEST_F(PlatformdTest, TraceFollowsCallsAsTheyArrive) {
    EXPECT_EQ(0, flush(1));
    const auto out = directory() / "followed";
    auto follower = Child::run([&] {
        if (!freopen(out.c_str(), "w", stdout)) _exit(99);
        execl(PLATFORMCTL_PATH, "platformctl", "-d", run().c_str(), "trace", nullptr);
    });
    const auto lines = [&] {
        const auto text = read_file(out);
        return std::ranges::count(text, '\n');
    };
    EXPECT_TRUE(eventually([&] { return lines() == 1; }));
    EXPECT_EQ(0, flush(2));
    EXPECT_TRUE(eventually([&] { return lines() == 2; }));
    control({"trace", "--clear"});
    EXPECT_EQ(0, flush(3));
    EXPECT_TRUE(eventually([&] { return lines() == 3; }));
    EXPECT_TRUE(read_file(out).ends_with("ui_dir_bitmap=3 -> 0\n"));

    follower.send_signal(SIGSTOP);
    platformd_.end(SIGTERM);
    start();
    EXPECT_EQ(0, flush(0));
    follower.send_signal(SIGCONT);
    EXPECT_TRUE(eventually([&] { return lines() == 4; })) << "the next one numbers from 1 again";
    EXPECT_TRUE(follower.alive());
}

TEST_F(PlatformdTest, HostileCallersHarmNobody) {
    RequestFuzzer fuzzer;
    const auto record = rule(kIpFilterUp, "10.0.0.1");
    const Message models[] = {
        request_message(kIpFilterRuleAdd.name, true, as_message(record)),
        request_message("platformd_state", true, Message(32768, 'x')),
        request_message("platformd_trace", true, Message(32768, '\xff')),
        request_message("platformd_fault", true, Message(80, '\1')),
        request_message("platformd_describe", true, Message(32768, '\1')),
    };
    for (int i = 0; i < 4000; ++i) {
        const RawSocket caller(RawSocket::connected(".platformd"));
        ASSERT_GE(caller.fd(), 0);
        caller.send_message(fuzzer.next(models[i % std::size(models)]));
    }
    platformd_.send_signal(SIGHUP);
    EXPECT_EQ(0, zu_qos_init());
    EXPECT_TRUE(platformd_.alive());
    EXPECT_EQ(0, platformd_.end(SIGTERM));
}

}  // namespace
