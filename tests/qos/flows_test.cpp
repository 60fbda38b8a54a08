#include "qos/flows/direction.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>

#include "core/ipc_entries.h"
#include "core/result.h"
#include "qos/qos.h"
#include "support/module_test.h"

using namespace appcfg;
using namespace appcfg::qos;
using recording_platform::Call;
using recording_platform::take;

namespace {

constexpr char kUplink[] = "zu_zu_qos_qm_set_call";
constexpr char kFlow[] = "zu_zu_qos_qm_classification_set_call";

constexpr int32_t kRefused = 77;

/// A section of the package: its type and "option=value" words.
std::string row(const std::string& type, const std::string& options) {
    std::string text = "config " + type + "\n";
    std::istringstream words(options);
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        text += "\toption " + word.substr(0, equals) + " '" + word.substr(equals + 1) + "'\n";
    }
    return text + "\n";
}

std::string basic(const std::string& options) {
    return row("IGD_QOS_BASIC_ATTR_TAB", options);
}

std::string type_row(int clf, int type, int port) {
    return row("IGD_QOS_CLF_TYPE_ATTR_TAB",
               "ucClfIndex=" + std::to_string(clf) + " ucTypeIndex=" + std::to_string(type) +
                   " ucType=5 ulMax=" + std::to_string(port) + " ulMin=" + std::to_string(port));
}

/// Queues of priority 9 - n, a classification for each, and four types, ports 11 to 84.
std::string full_tree() {
    std::string text;
    for (int n = 1; n <= 8; ++n) {
        const std::string number = std::to_string(n);
        text += row("IGD_QOS_QUEUE_ATTR_TAB", "ucQueueIndex=" + number + " ucEnable=1 ucPriority=" +
                                                  std::to_string(9 - n) + " ulWeight=10");
        text += row("IGD_QOS_CLF_ATTR_TAB", "ucClfIndex=" + number + " ucQueueNum=" + number);
        for (int type = 1; type <= 4; ++type)
            text += type_row(n, type, 10 * n + type);
    }
    return text;
}

/// How often the platform holds the flow of a port.
using Held = std::map<uint32_t, int>;

struct FlowsTest : ModuleTest {
    FlowsTest() : ModuleTest(register_tables) { g_ui = g_downlink = {}; }

    void store(const std::string& rows) { write_package("app_qos", rows); }
    bool is_stored(const std::string& text) const {
        return read_package("app_qos").find(text) != std::string::npos;
    }
    size_t stored_rows(const std::string& type) const {
        const std::string text = read_package("app_qos");
        size_t count = 0;
        for (size_t at = 0; (at = text.find("config " + type + "\n", at)) != text.npos; ++at)
            ++count;
        return count;
    }

    /// Runs an operation on a full tree, with QoS on and the strict plan, while the platform
    /// refuses the call at `refused` alone.
    template <class Operation>
    int32_t run(size_t refused, Operation operation) {
        g_ui = {};
        held.clear();
        for (uint32_t n = 1; n <= 8; ++n)
            for (uint32_t type = 1; type <= 4; ++type)
                held[10 * n + type] = 1;
        store(basic("ucQosEnable=1 ucPlan=1 ucEnableDscpMark=0") + full_tree());
        take();
        size_t at = 0;
        recording_platform::on_call([&, refused](const Call& call) {
            const bool taken = at++ != refused;
            if (taken && call.name == kFlow) held[call.word(188)] += call.word(4) == 1 ? 1 : -1;
            return taken ? 0 : kRefused;
        });
        return operation();
    }

    Held held;
};

TEST_F(FlowsTest, BasicSetLosesNoMoreThanWhatThePlatformRefuses) {
    Basic request{.ucEnableDscpMark = 1, .ulBitmap = Basic::DscpMark};
    const auto set = [&] { return igdCmQosBasicAttrSet(&request, sizeof(request)); };
    ASSERT_EQ(run(0, set), kRefused);
    EXPECT_EQ(calls(), Names{kUplink});
    EXPECT_TRUE(is_stored("ucEnableDscpMark '0'"));
    for (uint32_t refused = 1; refused <= 64; ++refused) {
        // Old settings are old ones again when nothing changes; each change is a wait for the disk.
        request.ulBitmap = refused < 3 ? uint32_t{Basic::DscpMark} : 0;
        ASSERT_EQ(run(refused, set), 0);
        EXPECT_TRUE(is_stored(refused < 3 ? "ucEnableDscpMark '1'" : "ucEnableDscpMark '0'"));
        const uint32_t hit = 10 * ((refused - 1) / 8 + 1) + (refused - 1) % 8 / 2 + 1;
        for (const auto& [port, copies] : held)
            EXPECT_EQ(copies, port != hit        ? 1
                              : refused % 2 == 1 ? 2
                                                 : 0)
                << port << " when call " << refused << " is refused";
        EXPECT_EQ(g_ui.remark_priority_flag, 0u);
    }
}

TEST_F(FlowsTest, ReadersSeeTheOldSettingsAtDeletesAndTheNewOnesAtAdds) {
    Basic request{.ucEnableDscpMark = 1, .ulBitmap = Basic::DscpMark};
    ASSERT_EQ(run(SIZE_MAX, [] { return 0; }), 0);
    size_t flows = 0;
    recording_platform::on_call([&](const Call& call) {
        if (call.name != kFlow) return 0;
        const bool add = call.word(4) == 1;
        EXPECT_EQ(add, flows++ % 2 == 1);
        EXPECT_TRUE(is_stored(add ? "ucEnableDscpMark '1'" : "ucEnableDscpMark '0'"));
        EXPECT_EQ(call.word(48), 9 - call.word(188) / 10) << "steered by priority";
        return 0;
    });
    EXPECT_EQ(igdCmQosBasicAttrSet(&request, sizeof(request)), 0);
    EXPECT_EQ(flows, 64u);
    // Switched off: deleted while the stored switch is still on. Switched on: added when it is.
    for (const std::string on : {"1", "0"}) {
        request = {.ucQosEnable = on == "0", .ulBitmap = Basic::Enable};
        recording_platform::on_call([&](const Call& call) {
            EXPECT_TRUE(call.name != kFlow || is_stored("ucQosEnable '1'"));
            return 0;
        });
        EXPECT_EQ(igdCmQosBasicAttrSet(&request, sizeof(request)), 0);
    }
    EXPECT_EQ(std::ranges::count(calls(), kFlow), 64 + 32 + 32);
}

TEST_F(FlowsTest, SetsAndDeletesStopAtTheFlowThatIsRefused) {
    Clf clf{.ucClfIndex = 3, .ucDscpMarkValue = 9, .ulBitmap = Clf::DscpMarkValue};
    const auto set = [&] { return igdCmQosClfAttrSet(&clf, sizeof(clf)); };
    const auto remove = [&] { return igdCmQosClfAttrDel(&clf, sizeof(clf)); };
    for (size_t refused = 0; refused <= 8; ++refused) {
        ASSERT_EQ(run(refused, set), refused < 8 ? kRefused : 0);
        EXPECT_EQ(calls().size(), std::min<size_t>(refused + 1, 8));
        EXPECT_EQ(is_stored("ucDscpMarkValue '9'"), refused == 8);
    }
    for (size_t refused = 0; refused <= 4; ++refused) {
        ASSERT_EQ(run(refused, remove), refused < 4 ? IGD_CM_OPERATE_FAIL : 0);
        EXPECT_EQ(stored_rows("IGD_QOS_CLF_TYPE_ATTR_TAB"), 32 - refused);
        EXPECT_EQ(stored_rows("IGD_QOS_CLF_ATTR_TAB"), refused < 4 ? 8u : 7u);
    }

    ClfType type{.ucClfIndex = 3, .ucTypeIndex = 2, .aucMax = "0x50", .aucMin = "0x50"};
    type.ucType = 5;
    type.ulBitmap = ClfType::Max | ClfType::Min;
    const auto set_type = [&] { return igdCmQosClfTypeAttrSet(&type, sizeof(type)); };
    ASSERT_EQ(run(0, set_type), 0) << "what could not be deleted";
    EXPECT_TRUE(is_stored("ulMax '80'"));
    ASSERT_EQ(run(1, set_type), IGD_CM_OPERATE_FAIL) << "what could not be added";
    EXPECT_EQ(held[32], 1);
    EXPECT_FALSE(is_stored("ulMax '80'"));
    ASSERT_EQ(run(0, [&] { return igdCmQosClfTypeAttrDel(&type, sizeof(type)); }),
              IGD_CM_OPERATE_FAIL);
    EXPECT_EQ(stored_rows("IGD_QOS_CLF_TYPE_ATTR_TAB"), 32u);
}

TEST_F(FlowsTest, RangesReachThePlatformOnlyForSomeMembers) {
    const struct {
        uint8_t type;
        const char* min;
        const char* max;
        uint32_t number_min, number_max;
        int32_t result;
        uint32_t em_type;  ///< of what is sent; 0xff: nothing is
    } kRanges[] = {
        {0, "b", "a", 9, 1, 0, 19},
        {1, "", "", 0, 0, 0, 0xff},
        {1, "0", "0", 0, 0, 0, 0xff},
        {2, "", "10", 0, 0, 0, 2},
        {1, "a", "a", 0, 0, 0, 1},
        {1, "a", "b", 0, 0, 0, 0xff},
        {1, "b", "a", 0, 0, -1, 0xff},
        {3, "10.0.0.9", "10.0.0.1", 0, 0, 0, 3},
        {4, "10.0.0.1", "10.0.0.9", 0, 0, 0, 4},
        {3, "::1", "::1", 0, 0, 0, 5},
        {4, "::1", "::2", 0, 0, 0, 0xff},
        {3, "10.0.0.1", "", 0, 0, 0, 0},
        {5, "", "", 100, 200, 0, 7},
        {6, "", "", 200, 100, 0, 8},
        {7, "", "", 1, 2, 0, 10},
        {8, "", "", 2, 1, 0, 11},
        {9, "", "", 100, 200, 0, 0xff},
        {9, "", "", 200, 100, -1, 0xff},
        {9, "", "", 0, 100, 0, 9},
        {11, "", "", 4, 4, 0, 13},
        {12, "", "", 3, 3, 0, 14},
        {13, "", "", 2, 2, 0, 15},
        {14, "", "", 7, 0, 0, 17},
        {15, "", "", 3, 3, 0, 18},
        {10, "", "", 1, 1, 0, 0xff},
        {16, "", "", 1, 1, 0, 0xff},
    };
    store(basic("ucQosEnable=1") + row("IGD_QOS_CLF_ATTR_TAB", "ucClfIndex=1 ucQueueNum=2"));
    for (const auto& range : kRanges) {
        ClfType type{.ucClfIndex = 1, .ucType = range.type};
        std::strcpy(type.aucMin, range.min);
        std::strcpy(type.aucMax, range.max);
        type.ulMin = range.number_min;
        type.ulMax = range.number_max;
        EXPECT_EQ(igdCmQosClassificationAttrDistribute(type, 1), range.result);
        const auto sent = take();
        EXPECT_EQ(sent.empty() ? 0xff : sent[0].word(56), range.em_type)
            << int{range.type} << " " << range.min << range.number_min;
    }
}

/// A record of words, all 0 but those told as "offset=word".
std::vector<uint32_t> words(size_t size, const std::string& set) {
    std::vector<uint32_t> all(size / 4);
    std::istringstream text(set);
    size_t offset;
    for (char sign; text >> offset >> sign;)
        text >> all[offset / 4];
    return all;
}

TEST_F(FlowsTest, RecordsHoldEveryMemberInItsPlace) {
    store(basic("ucQosEnable=1 ucPlan=3 ucEnableDscpMark=1 ucEnableTcMark=1 ucEnable8021p=2") +
          row("IGD_QOS_CLF_ATTR_TAB",
              "ucClfIndex=1 ucQueueNum=6 ucDscpMarkValue=46 uc8021pValue=5 ucTcValue=7") +
          row("IGD_QOS_QUEUE_ATTR_TAB", "ucQueueIndex=6 ucEnable=0 ucPriority=2 ulRate=8"));
    ClfType type{.ucClfIndex = 1, .ucProtocolList = 3, .ucType = 15, .aucMax = "C", .aucMin = "B"};
    type.ulMax = type.ulMin = 11;
    ASSERT_EQ(igdCmQosClassificationAttrDistribute(type, 1), 0);
    EXPECT_EQ(take().at(0).words(),
              words(676,
                    "4=1 12=4 16=2 20=46 24=2 28=7 32=2 36=5 44=255 48=6 52=1 "
                    "56=18 60=66 124=67 188=11 192=11 200=3"));
    Queue queue{.ucQueueIndex = 6, .ucEnable = 1, .ulWeight = 30, .ulRate = 512};
    queue.ulBitmap = Queue::Enable | Queue::Weight | Queue::Rate;
    ASSERT_EQ(igdCmQosQueueAttrSet(&queue, sizeof(queue)), 0);
    EXPECT_EQ(take().at(0).words(), words(52, "0=6 4=1 12=1879048193 20=30 24=6 40=1 44=512"));
}

TEST_F(FlowsTest, EntriesTakeRecordsOfTheirOwnSizeAlone) {
    constexpr uint32_t kSizes[] = {56, 56, 16,  16,  16,  16,  4,  276, 276, 276, 276,
                                   4,  44, 44,  44,  44,  4,   20, 20,  780, 780, 20,
                                   24, 24, 276, 276, 276, 276, 0,  0,   20};
    const auto& entries = recording_platform::entries();
    ASSERT_EQ(entries.size(), std::size(kSizes));
    store(basic("ucQosEnable=1 ucPlan=1") + full_tree());
    const std::string before = read_package("app_qos");
    const auto enter = [&](size_t i, uint32_t size) {
        std::vector<uint8_t> record(size, 0xff);
        return entries[i]->handler(record.data(), size);
    };
    for (size_t i = 0; i < std::size(kSizes); ++i) {
        uint32_t word = 0;
        EXPECT_EQ(enter(i, kSizes[i] + 1), kWrongRecord) << entries[i]->name;
        EXPECT_EQ(enter(i, kSizes[i] ? kSizes[i] - 1 : 1), kWrongRecord) << entries[i]->name;
        EXPECT_EQ(entries[i]->handler(kSizes[i] ? nullptr : &word, kSizes[i]), kWrongRecord);
        EXPECT_EQ(entries[i]->handler(&word, 0), kWrongRecord);
    }
    EXPECT_EQ(read_package("app_qos"), before);
    EXPECT_EQ(calls(), Names{});
    for (size_t i = 0; i < std::size(kSizes); ++i)
        EXPECT_NE(enter(i, kSizes[i]), kWrongRecord) << entries[i]->name;
}

TEST_F(FlowsTest, EntriesEndTextsThatFillTheirMembers) {
    const std::string kSet = "zu_igdCmQosBasicAttrSet_cli_call";
    Basic request{.ulBitmap = Basic::Mode | Basic::Enable};
    request.ucQosEnable = 1;
    std::memset(request.aucMode, 'A', sizeof(request.aucMode));
    EXPECT_EQ(recording_platform::enter(kSet, &request, sizeof(request)), 0);
    EXPECT_TRUE(is_stored("aucMode '" + std::string(31, 'A') + "'"));
    take();
    // Kinds of traffic: those without a name are none, and not more than fit.
    std::memcpy(request.aucMode, ",,a,b,c,d,e,f,g,h,i,j,OTT,OTT,k", 32);
    EXPECT_EQ(recording_platform::enter(kSet, &request, sizeof(request)), 0);
    auto kinds = take().at(0).words();
    kinds.resize(12);
    EXPECT_EQ(kinds, (std::vector<uint32_t>{4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 0x20, 1}));
}

TEST_F(FlowsTest, RowsMadeByHandAreSurvived) {
    std::string rows = basic("ucQosEnable=1 ucPlan=200");
    for (const std::string index : {"0", "200", "1", "1", "-1"}) {
        rows += row("IGD_QOS_CLF_ATTR_TAB", "ucQueueNum=200 ucClfIndex=" + index);
        rows += row("IGD_QOS_QUEUE_ATTR_TAB", "ulWeight=-1 ucEnable=1 ucQueueIndex=" + index);
    }
    for (int i = 0; i < 40; ++i)
        rows += type_row(i % 2 * 200, i % 3 * 127, i);
    store(rows);
    for (const uint8_t plan : {1, 2, 3}) {
        Basic request{.ucPlan = plan, .ulBitmap = Basic::Plan};
        igdCmQosBasicAttrSet(&request, sizeof(request));
        for (int index = 0; index < 256; ++index) {
            Clf clf{.ucClfIndex = static_cast<uint8_t>(index), .ulBitmap = Clf::All};
            igdCmQosClfAttrSet(&clf, sizeof(clf));
        }
    }
    store(row("IGD_QOS_CLF_ATTR_TAB", "ucClfIndex=1") + type_row(1, 1, 7));
    ClfType port{.ucClfIndex = 1, .ucTypeIndex = 1, .ucType = 11, .aucMax = "LAN-2147483648"};
    port.ulBitmap = ClfType::All;
    EXPECT_EQ(igdCmQosClfTypeAttrSet(&port, sizeof(port)), 0);
    EXPECT_TRUE(is_stored("ulMax '-2147483648'") && is_stored("ulMin '0'"));
}

}  // namespace
