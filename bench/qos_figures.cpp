#include "qos_figures.h"

#include <cstdio>

#include "qos/qos_records.h"

namespace {

constexpr char kQos[] = "app_qos";
constexpr int kClassifications = 8;
constexpr int kTypes = 4;
constexpr int kFlows = kClassifications * kTypes;
constexpr int kQueues = 8;
// Of a change of the basic row, the flows not counted; of a replay, the hosts not counted.
constexpr int kBasicCalls = 3;
constexpr int kReplayCalls = 135;

BusCall basic(int enable, int bandwidth) {
    return {kQos, "qos_basic_attr_set",
            R"({"aucMode":"VOIP,OTHER","ucQosEnable":)" + std::to_string(enable) +
                R"(,"ucPlan":2,"ucEnableForceWeight":0,"ucEnableDscpMark":0,"ucEnable8021p":0,)"
                R"("ucEnableTcMark":0,"ulTcpSession":1000,"ulBandwidth":)" +
                std::to_string(bandwidth) + "}"};
}

BusCall queue(int weight) {
    return {kQos, "qos_queue_attr_set",
            R"({"ucQueueIndex":3,"ucEnable":1,"ucPriority":3,"ulRate":0,"ulWeight":)" +
                std::to_string(weight) + "}"};
}

BusCall classification(const char* method, int index) {
    const std::string number = std::to_string(index);
    return {kQos, method,
            R"({"class_queue_enable":1,"ucDscpMarkValue":0,"uc8021pValue":0,"ucTcValue":0,)"
            R"("ucClfIndex":)" +
                number + R"(,"ucQueueNum":)" + number + "}"};
}

/// Traffic from a source port of its own.
BusCall type(const char* method, int clf, int index, int port) {
    const std::string text = std::to_string(port);
    return {kQos, method,
            R"({"ucProtocolList":1,"ucType":5,"ucClfIndex":)" + std::to_string(clf) +
                R"(,"ucTypeIndex":)" + std::to_string(index) + R"(,"aucMax":")" + text +
                R"(","aucMin":")" + text + "\"}"};
}

/// Limited in one direction: there are not enough profiles for 100 hosts with two each.
BusCall host(const char* method, int number) {
    char mac[18];
    std::snprintf(mac, sizeof(mac), "02:00:00:00:01:%02X", static_cast<uint8_t>(number));
    return {kQos, method,
            R"({"up_bandwidth":100,"dn_bandwidth":0,"macaddr":")" + std::string(mac) + "\"}"};
}

void add_tree(std::vector<BusCall>& calls) {
    for (int clf = 1; clf <= kClassifications; ++clf) {
        calls.push_back(classification("qos_clf_attr_add", clf));
        for (int index = 1; index <= kTypes; ++index)
            calls.push_back(type("qos_clf_type_attr_add", clf, index, 1000 + clf * 10 + index));
    }
}

void delete_tree(std::vector<BusCall>& calls) {
    for (int clf = 1; clf <= kClassifications; ++clf)
        calls.push_back(classification("qos_clf_attr_del", clf));
}

void add_hosts(std::vector<BusCall>& calls, const char* method, int count) {
    for (int number = 1; number <= count; ++number)
        calls.push_back(host(method, number));
}

/// With QoS on, shares by weight, 8 classifications and their 32 types.
Figure on_full_tree(const char* name, Figure figure) {
    figure.name = name;
    add_tree(figure.set_up);
    figure.set_up.push_back(basic(1, 1000));
    figure.tear_down.push_back(basic(0, 1000));
    delete_tree(figure.tear_down);
    figure.package = kQos;
    figure.replacements = 1;
    return figure;
}

/// The row is stored while platformd waits for more calls.
Figure queue_in_force() {
    Figure figure = on_full_tree("qos_queue_attr_set, in force", {.before_each = {queue(10)},
                                                                  .timed = queue(20),
                                                                  .quiet_ms = 200,
                                                                  .platform_calls = kQueues,
                                                                  .pause_ms = 10,
                                                                  .queues = true,
                                                                  .rounds = 31});
    figure.replacements = 0;
    return figure;
}

// What the tools do when the chain is there already, or the rule is not, is the least that they
// take to start and to look.
constexpr const char* kNewHostChain[] = {"ebtables", "-t", "nat", "-N", "ZU_DEVSPEED_PREROUTING",
                                         nullptr};
constexpr const char* kNewChain[] = {"iptables", "-t", "mangle", "-N", "ZU_QOS_CHAIN_0", nullptr};
constexpr const char* kNewChain6[] = {"ip6tables", "-t", "mangle", "-N", "ZU_QOS_CHAIN_0", nullptr};

// Two chains and a rule; a profile and what has been learnt of the host.
constexpr int kHostCommands = 3;
constexpr int kHostCalls = 2;

Figure lan_host_add_at(int hosts) {
    Figure figure{.name = "lanhost_bw_add at " + std::to_string(hosts),
                  .timed = host("lanhost_bw_add", hosts + 1),
                  .after_each = {host("lanhost_bw_del", hosts + 1)},
                  .package = kQos,
                  .replacements = 1,
                  .platform_calls = kHostCalls,
                  .commands = {{kNewHostChain, kHostCommands}},
                  .rounds = 31};
    add_hosts(figure.set_up, "lanhost_bw_add", hosts);
    add_hosts(figure.tear_down, "lanhost_bw_del", hosts);
    return figure;
}

Figure replay_of_full_tables() {
    constexpr int kHosts = 100;
    constexpr int kChainCommands = 48;
    Figure figure = on_full_tree("libqos_init, full tables",
                                 {.timed = {kQos, "libqos_init"},
                                  .platform_calls = kReplayCalls + kHosts * kHostCalls,
                                  .commands = {{kNewChain, kChainCommands},
                                               {kNewChain6, kChainCommands},
                                               {kNewHostChain, 4 + kHosts * kHostCommands}},
                                  .rounds = 3});
    // The hosts get the profiles again that are stored with them.
    figure.replacements = 0;
    add_hosts(figure.set_up, "lanhost_bw_add", kHosts);
    add_hosts(figure.tear_down, "lanhost_bw_del", kHosts);
    return figure;
}

}  // namespace

std::vector<Figure> qos_figures() {
    return {
        on_full_tree("qos_basic_attr_set, 32 types",
                     {.before_each = {basic(1, 1000)},
                      .timed = basic(1, 2000),
                      // items, bandwidth, limits; every flow taken out and put in
                      .platform_calls = kBasicCalls + 2 * kFlows,
                      .rounds = 31}),
        on_full_tree("qos_clf_type_attr_set",
                     {.before_each = {type("qos_clf_type_attr_set", 4, 2, 1042)},
                      .timed = type("qos_clf_type_attr_set", 4, 2, 9042),
                      .platform_calls = 2,
                      .rounds = 31}),
        on_full_tree("qos_queue_attr_set, 8 queues", {.before_each = {queue(10)},
                                                      .timed = queue(20),
                                                      .platform_calls = kQueues,
                                                      .rounds = 31}),
        queue_in_force(),
        lan_host_add_at(0),
        lan_host_add_at(99),
        replay_of_full_tables(),
        {.name = "an IPC entry, qos basic get",
         .entry = "zu_igdCmQosBasicAttrGet_cli_call",
         .record_size = sizeof(appcfg::qos::Basic),
         .platform_calls = 1},
    };
}
