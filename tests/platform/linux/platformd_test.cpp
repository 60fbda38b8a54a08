#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <chrono>

#include "platform/include/zu_ipc.h"
#include "platform/include/zu_services.h"
#include "platformd_fixture.h"
#include "security/ip_filter/ip_filter_platform.h"

namespace {

template <class Record>
int32_t call(const char* name, Record record) {
    return zu_ipc_call(name, &record, sizeof(record));
}

st_filter_list rule(uint32_t direction, const char* wan_address) {
    st_filter_list record{};
    record.em_type = 1;
    record.em_dir = direction;
    record.ui_dst_sport = 80;
    record.ui_dst_eport = 81;
    snprintf(record.ac_dst_sip, sizeof(record.ac_dst_sip), "%s", wan_address);
    return record;
}

int32_t add(const st_filter_list& record) {
    return call(kIpFilterRuleAddCall, record);
}
int32_t remove(const st_filter_list& record) {
    return call(kIpFilterRuleDelCall, record);
}
int32_t flush(uint32_t mask) {
    return call(kIpFilterFlushChainCall, st_flush_chain{mask});
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

TEST_F(IpFilterServiceTest, ShowsModesAndRules) {
    EXPECT_EQ(0, zu_sec_ipfilter_init());
    const st_filter_mode modes = {.up_filter_en = 1,
                                  .dn_filter_en = 2,
                                  .ui_dir_bitmap = 3,
                                  .em_dn_listtype = 3,
                                  .em_up_listtype = 4};
    EXPECT_EQ(0, call(kIpFilterSetCall, modes));
    EXPECT_EQ(0, add(rule(kIpFilterUp, "10.0.0.1\"")));
    EXPECT_EQ(
        "ip_filter\n"
        "  initialised=1\n"
        "  up enabled=1 listtype=4 rules=1\n"
        "  up rule em_type=1 em_dir=1 ui_dst_sport=80 ui_dst_eport=81 ui_src_sport=0 "
        "ui_src_eport=0 ac_dst_sip=\"10.0.0.1\\\"\" ac_dst_eip=\"\" ac_src_sip=\"\" "
        "ac_src_eip=\"\"\n"
        "  down enabled=2 listtype=3 rules=0\n",
        state());
}

TEST_F(IpFilterServiceTest, ModesChangeInTheDirectionsNamed) {
    st_filter_mode modes = {1, 1, kIpFilterUpMask, 1, 1};
    EXPECT_EQ(0, call(kIpFilterSetCall, modes));
    EXPECT_EQ(
        "ip_filter\n  initialised=0\n  up enabled=1 listtype=1 rules=0\n"
        "  down enabled=0 listtype=0 rules=0\n",
        state());
    modes = {0, 1, kIpFilterDownMask, 1, 0};
    EXPECT_EQ(0, call(kIpFilterSetCall, modes));
    EXPECT_EQ(
        "ip_filter\n  initialised=0\n  up enabled=1 listtype=1 rules=0\n"
        "  down enabled=1 listtype=1 rules=0\n",
        state());
    modes.ui_dir_bitmap = 4;
    EXPECT_NE(0, call(kIpFilterSetCall, modes));
    modes = {2, 3, 0, 5, 4};
    EXPECT_EQ(0, call(kIpFilterRestartSetCall, modes));
    EXPECT_EQ(
        "ip_filter\n  initialised=0\n  up enabled=2 listtype=4 rules=0\n"
        "  down enabled=3 listtype=5 rules=0\n",
        state());
}

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

TEST_F(IpFilterServiceTest, FlushesTheChainsNamed) {
    const auto fill = [] {
        EXPECT_EQ(0, zu_sec_ipfilter_init());
        EXPECT_EQ(0, add(rule(kIpFilterUp, "a")));
        EXPECT_EQ(0, add(rule(kIpFilterDown, "b")));
    };
    const std::pair<uint32_t, const char*> flushes[] = {
        {0, "u:a d:b "}, {1, "d:b "}, {2, "u:a "}, {3, ""}};
    for (const auto& [mask, left] : flushes) {
        fill();
        EXPECT_EQ(0, flush(mask));
        EXPECT_EQ(left, rules()) << mask;
    }
    fill();
    EXPECT_NE(0, flush(4));
    EXPECT_EQ("u:a d:b ", rules());
}

TEST_F(IpFilterServiceTest, StateOfAnyLengthIsShownWhole) {
    for (int i = 0; i < 500; ++i)
        ASSERT_EQ(0, add(rule(kIpFilterUp, std::to_string(i).c_str())));
    const auto text = rules();
    EXPECT_EQ(500, std::ranges::count(text, ':'));
    EXPECT_TRUE(text.ends_with("u:499 "));
}

TEST_F(PlatformdTest, DirectCallsReachTheirServices) {
    EXPECT_EQ(0, zu_netif_set_dport_flow(443, 1, 7));
    EXPECT_EQ(0, zu_netif_set_dport_flow(22, 0, 6));
    EXPECT_EQ(0, zu_netif_set_sport_flow(22, 0, 6));
    EXPECT_EQ(0, zu_netif_set_dport_flow(22, 0, 5));
    EXPECT_NE(0, zu_netif_set_sport_flow(65536, 0, 6));
    EXPECT_EQ(0, zu_netif_set_cpu_rate(15000));
    EXPECT_EQ(
        "port_flow\n  cpu_rate=15000\n  dport port=22 index=0 value=5\n"
        "  dport port=443 index=1 value=7\n  sport port=22 index=0 value=6\n",
        control({"state", "port_flow"}).out);
    int32_t (*const inits[])() = {zu_sec_wlan_isolation_init,
                                  zu_sec_dnsfilter_init,
                                  zu_sec_ipfilter_init,
                                  zu_sec_urlfilter_init,
                                  zu_netapp_loopback_init,
                                  init_macfilter,
                                  zu_qos_init};
    for (const auto init : inits)
        EXPECT_EQ(0, init());
    EXPECT_EQ(std::string::npos, control({"state"}).out.find("initialised=0"));
}

TEST_F(PlatformdTest, TraceShowsCallsFieldByField) {
    EXPECT_EQ(0, zu_sec_ipfilter_init());
    auto record = rule(kIpFilterUp, "10.0.0.1");
    EXPECT_EQ(0, zu_ipc_asyn_call(kIpFilterRuleAddCall, &record, sizeof(record)));
    EXPECT_NE(0, zu_ipc_call(kIpFilterFlushChainCall, &record, 2));
    EXPECT_EQ(0, flush(3));
    EXPECT_EQ(
        "sync zu_sec_ipfilter_init -> 0\n"
        "async zu_zu_sal_ipfilter_rule_add_call em_type=1 em_dir=1 ui_dst_sport=80 ui_dst_eport=81 "
        "ui_src_sport=0 ui_src_eport=0 ac_dst_sip=\"10.0.0.1\" ac_dst_eip=\"\" ac_src_sip=\"\" "
        "ac_src_eip=\"\" -> 0\n"
        "sync zu_zu_sal_ipfilter_flush_chain_call record=0100 -> -1\n"
        "sync zu_zu_sal_ipfilter_flush_chain_call ui_dir_bitmap=3 -> 0\n",
        trace());
    EXPECT_EQ(0, control({"trace", "--clear"}).status);
    EXPECT_EQ("", trace());
    EXPECT_EQ(0, flush(1));
    EXPECT_EQ("sync zu_zu_sal_ipfilter_flush_chain_call ui_dir_bitmap=1 -> 0\n", trace());
}

TEST_F(PlatformdTest, TraceForgetsTheOldestCallsFirst) {
    for (uint32_t port = 0; port < 5000; ++port)
        ASSERT_EQ(0, zu_netif_set_dport_flow(port, 0, 1));
    const auto text = trace();
    EXPECT_EQ(4096, std::ranges::count(text, '\n'));
    EXPECT_TRUE(text.starts_with("sync zu_netif_set_dport_flow port=904 index=0 value=1 -> 0\n"));
    EXPECT_TRUE(text.ends_with("port=4999 index=0 value=1 -> 0\n"));
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
    EXPECT_TRUE(follower.alive());
}

TEST_F(PlatformdTest, FaultsSpoilTheNextCallsOnly) {
    EXPECT_EQ(0, control({"fail", kIpFilterFlushChainCall, "2", "0x70"}).status);
    EXPECT_EQ(0, zu_sec_ipfilter_init());
    EXPECT_EQ(0x70, flush(3));
    EXPECT_EQ(0x70, flush(3));
    EXPECT_EQ(0, flush(3));
    EXPECT_EQ(0, control({"fail", "zu_qos_init"}).status);
    EXPECT_EQ(-1, zu_qos_init());
    EXPECT_NE(std::string::npos, control({"state", "qos"}).out.find("initialised=0"));
    EXPECT_EQ(0, control({"fail", "zu_qos_init", "100"}).status);
    EXPECT_EQ(0, control({"fail", "--clear"}).status);
    EXPECT_EQ(0, zu_qos_init());
    EXPECT_EQ(0, control({"fail", "zu_qos_init", "5"}).status);
    EXPECT_EQ(0, control({"fail", "zu_qos_init", "0"}).status);
    EXPECT_EQ(0, zu_qos_init());
}

TEST_F(PlatformdTest, DyingAndHangingOnRequest) {
    EXPECT_EQ(0, control({"hang", "zu_qos_init", "1"}).status);
    using Clock = std::chrono::steady_clock;
    auto slow = Child::run([] { _exit(zu_qos_init() == 0 ? 0 : 1); });
    const auto begin = Clock::now();
    ASSERT_TRUE(eventually([this] { return trace().find("zu_qos_init") != std::string::npos; }));
    EXPECT_EQ(0, flush(3));
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(900)) << "others are not held up";
    EXPECT_EQ(0, WEXITSTATUS(slow.end()));
    EXPECT_GT(Clock::now() - begin, std::chrono::milliseconds(800));

    EXPECT_EQ(0, control({"die", kIpFilterFlushChainCall}).status);
    EXPECT_EQ(0, zu_qos_init());
    EXPECT_EQ(-1, flush(3));
    EXPECT_EQ(1, WEXITSTATUS(platformd_.end()));
    EXPECT_EQ(-1, zu_qos_init());
    EXPECT_EQ(1, control({"state"}).status);
    start();
    EXPECT_EQ(0, flush(3));
}

TEST_F(PlatformdTest, CallPrintsWhatComesBack) {
    const auto good = control({"call", kIpFilterFlushChainCall, "03000000"});
    EXPECT_EQ("result 0\nrecord 03000000\n", good.out);
    EXPECT_EQ(0, good.status);
    const auto refused = control({"call", kIpFilterFlushChainCall, "FF"});
    EXPECT_EQ("result -1\nrecord ff\n", refused.out);
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ("result 0\n", control({"call", "zu_qos_init"}).out);
}

TEST_F(PlatformdTest, ListNamesWhoAnswers) {
    ipc_link("zu_igdCmQosAppAttrGet_cli_call", ".appcfgd");
    const auto text = control({"list"}).out;
    EXPECT_NE(text.npos, text.find("zu_zu_sal_ipfilter_set_call platformd\n"));
    EXPECT_NE(text.npos, text.find("zu_igdCmQosAppAttrGet_cli_call appcfgd\n"));
}

TEST_F(PlatformdTest, ToolsSayWhatIsWrong) {
    const std::vector<std::vector<std::string>> misused = {{},
                                                           {"bogus"},
                                                           {"state", "a", "b"},
                                                           {"trace", "--all"},
                                                           {"fail"},
                                                           {"fail", "zu_qos_init", "-1"},
                                                           {"fail", "zu_qos_init", "1", "x"},
                                                           {"hang", "zu_qos_init"},
                                                           {"hang", "zu_qos_init", "1s"},
                                                           {"die"},
                                                           {"call"},
                                                           {"call", "zu_qos_init", "123"},
                                                           {"call", "zu_qos_init", "xy"},
                                                           {"log", "security"},
                                                           {"log", "0", "7"},
                                                           {"list", "all"}};
    for (const auto& words : misused) {
        const auto outcome = control(words);
        EXPECT_EQ(2, outcome.status) << testing::PrintToString(words);
        EXPECT_TRUE(outcome.err.find("usage: ") != std::string::npos);
    }
    const std::vector<std::vector<std::string>> refused = {{"state", "nothing"},
                                                           {"fail", "nothing"},
                                                           {"call", "nothing"},
                                                           {"call", "../run/zu_log"},
                                                           {"hang", "zu_qos_init", "4000"},
                                                           {"die", std::string(100, 'x')}};
    for (const auto& words : refused) {
        const auto outcome = control(words);
        EXPECT_EQ(1, outcome.status) << testing::PrintToString(words);
        EXPECT_TRUE(outcome.err.starts_with("platformctl: ")) << outcome.err;
        EXPECT_EQ("", outcome.out);
    }
}

TEST_F(PlatformdTest, LogLevelsAreSetByNameOrNumber) {
    EXPECT_EQ(0, control({"log", "security", "7"}).status);
    EXPECT_EQ(0, control({"log", "0x3205000", "0x2"}).status);
    EXPECT_EQ(std::string("\x00\xd0\x10\x04\x07\0\0\0\x00\x50\x20\x03\x02\0\0\0", 16),
              read_file(run() / "zu_log").substr(0, 16));
}

TEST_F(PlatformdTest, SecondOneDoesNotTakeOver) {
    auto second = Child::execute({PLATFORMD_PATH, "-d", run()});
    EXPECT_EQ(1, WEXITSTATUS(second.end()));
    EXPECT_EQ(0, zu_qos_init());
}

TEST_F(PlatformdTest, EndsInOrderAndTakesItsNamesAway) {
    EXPECT_EQ(0, platformd_.end(SIGTERM));
    EXPECT_TRUE(std::filesystem::is_empty(ipc("")));
}

TEST_F(PlatformdTest, HostileCallersHarmNobody) {
    RequestFuzzer fuzzer;
    const auto record = rule(kIpFilterUp, "10.0.0.1");
    const Message models[] = {
        request_message(kIpFilterRuleAddCall, true, as_message(record)),
        request_message("platformd_state", true, Message(32768, 'x')),
        request_message("platformd_trace", true, Message(32768, '\xff')),
        request_message("platformd_fault", true, Message(80, '\1')),
    };
    for (int i = 0; i < 4000; ++i) {
        const RawSocket caller(RawSocket::connected(".platformd"));
        ASSERT_GE(caller.fd(), 0);
        caller.send_message(fuzzer.next(models[i % std::size(models)]));
    }
    EXPECT_EQ(0, zu_qos_init());
    EXPECT_TRUE(platformd_.alive());
    EXPECT_EQ(0, platformd_.end(SIGTERM));
}

}  // namespace
