#include <gtest/gtest.h>

#include "platform/include/records/netif.h"
#include "platform/include/records/qos.h"
#include "platform/include/zu_services.h"
#include "platformd_fixture.h"

using namespace platform;

namespace {

zu_sal_qos_flow_queue_s flow(uint32_t direction, uint32_t queue, uint32_t port) {
    zu_sal_qos_flow_queue_s record{};
    record.em_kind = kFlowKind;
    record.em_direction = direction;
    record.ui_queue = queue;
    record.st_flow_class[0].em_type = 8;
    record.st_flow_class[0].ui_min = record.st_flow_class[0].ui_max = port;
    record.st_flow_class[0].ui_proto_list = 1;
    return record;
}

int32_t set_flow(zu_sal_qos_flow_queue_s record, uint32_t enable) {
    record.ui_enable = enable;
    return call(kQosFlowSet, record);
}

int32_t set_queue(uint32_t port, uint32_t number, uint32_t plan) {
    zu_sal_qos_queue_attr_s record{};
    record.ui_port = port;
    record.ui_queue = number;
    record.ui_enable = 1;
    record.ui_weight = record.ui_priority = number;
    record.em_plan = plan;
    return call(kQosQueueSet, record);
}

/// The id of a new profile, 0 if there is none.
uint32_t new_profile(uint32_t rate) {
    st_qos_profile record{};
    record.first_rate = record.second_rate = rate;
    return call(kQosProfileSet, record) == 0 ? record.id : 0;
}

int32_t free_profile(uint32_t id) {
    st_qos_profile record{};
    record.id = id;
    return call(kQosProfileDel, record);
}

class QosServicesTest : public PlatformdTest {
  protected:
    /// The lines of QoS that begin with `start`, without it.
    std::string state(const std::string& start) const {
        std::istringstream lines(control({"state", "qos"}).out);
        std::string line, found;
        while (std::getline(lines, line))
            if (line.starts_with("  " + start)) found += line.substr(start.size() + 3) + '\n';
        return found;
    }
};

TEST_F(QosServicesTest, FlowsAreKeptAsOftenAsTheyWereAddedAndFoundByWhatTheyMatch) {
    auto marked = flow(kUpstream, 3, 80);
    marked.em_dscp_mark = kMarkOn;
    marked.ui_dscp = 46;
    for (const auto& added : {flow(kUpstream, 3, 80), marked, flow(kUpstream, 3, 80)})
        EXPECT_EQ(0, set_flow(added, 1));
    EXPECT_EQ(0, set_flow(flow(kDownlink, 3, 80), 1));
    const std::string plain = "destination_port 80 protocols 1 -> queue=3";
    EXPECT_EQ(plain + '\n' + plain + " dscp=46\n" + plain + '\n', state("upstream flow"));

    EXPECT_EQ(0, set_flow(marked, 0)) << "the one with its marks rather than the first alike";
    EXPECT_EQ(plain + '\n' + plain + '\n', state("upstream flow"));
    EXPECT_EQ(0, set_flow(flow(kUpstream, 7, 80), 0)) << "by the queue's priority";
    EXPECT_EQ(0, set_flow(flow(kUpstream, 3, 81), 0)) << "what is not there needs no removing";
    EXPECT_EQ(plain + '\n', state("upstream flow"));
    EXPECT_EQ(plain + '\n', state("downlink flow"));
    EXPECT_NE(0, set_flow(flow(3, 3, 80), 1));
    for (int i = 0; i < 255; ++i)
        ASSERT_EQ(0, set_flow(flow(kUpstream, 1, 80), 1));
    EXPECT_NE(0, set_flow(flow(kUpstream, 1, 80), 1)) << "there is an end";
}

TEST_F(QosServicesTest, WhatNoBoardHasIsRefused) {
    EXPECT_NE(0, set_queue(kWanPort, 9, kPlanPriority));
    EXPECT_NE(0, set_queue(kWanPort, 0, kPlanPriority));
    EXPECT_NE(0, set_queue(1, 1, kPlanPriority));
    EXPECT_NE(0, set_queue(kWanPort, 1, 3));
    zu_sal_qos_dslimited_s limits{};
    limits.st_ip_down[9].rate = __builtin_nan("");
    EXPECT_NE(0, call(kQosFlowLimitSet, limits));
    ifinfo known{.if_type = kInterfaceEthernet, .alport = kWanPort};
    EXPECT_EQ(0, call(kInterfaceFindByPort, known));
    EXPECT_NE(0, call(kInterfaceAdd, known)) << "twice";
    memset(known.if_name, 'x', sizeof(known.if_name));
    EXPECT_NE(0, call(kInterfaceAdd, known)) << "a name without an end";
}

TEST_F(QosServicesTest, ProfilesAreHandedOutFromTheLowestFreeId) {
    for (uint32_t id = 1; id <= 127; ++id)
        ASSERT_EQ(id, new_profile(500));
    EXPECT_EQ(0U, new_profile(500));
    EXPECT_EQ(0, free_profile(40));
    EXPECT_EQ(0, free_profile(7));
    EXPECT_NE(0, free_profile(7));
    EXPECT_NE(0, free_profile(0));
    EXPECT_EQ(7U, new_profile(1));
    EXPECT_EQ(40U, new_profile(1));
    EXPECT_EQ(0, zu_qos_init());
    EXPECT_EQ(1U, new_profile(500)) << "setting QoS up anew gives all of them back";
}

}  // namespace
