#include "qos/flows/distribution.h"

#include <arpa/inet.h>

#include <cstring>

#include "core/bounded.h"
#include "core/record_log.h"
#include "core/result.h"
#include "qos/flows/lookup.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

/// Types whose values mean the same to everybody.
constexpr uint8_t kSourceAddress = 3;
constexpr uint8_t kDestinationAddress = 4;
constexpr uint8_t kTypeWithMask = 15;

constexpr uint32_t kUnknownType = UINT32_MAX;
constexpr uint32_t kWholeMask = 255;

/// The platform numbers the members of a packet in its own way. Addresses stand for themselves: the
/// platform tells the families apart.
constexpr uint32_t kPlatformTypes[] = {
    19, 1, 2, 3, 4, 7, 8, 10, 11, 9, kUnknownType, 13, 14, 15, 17, 18,
};

uint32_t platform_address_type(const ClfType& type) {
    const uint32_t ipv4 = kPlatformTypes[type.ucType];
    switch (igdCmQosIpAddrFormatAchieve(type.aucMax)) {
        case 1:
            return ipv4;
        case 2:
            return ipv4 + 2;
        default:
            return 0;
    }
}

uint32_t platform_type(const ClfType& type) {
    if (type.ucType >= std::size(kPlatformTypes)) return kUnknownType;
    if (type.ucType == kSourceAddress || type.ucType == kDestinationAddress)
        return platform_address_type(type);
    return kPlatformTypes[type.ucType];
}

/// What becomes of a flow by its values: it is sent, or the caller gets a result instead.
struct Verdict {
    bool sent;
    int32_t result;
};

constexpr Verdict kSent{true, 0};
constexpr Verdict kNotSent{false, 0};
constexpr Verdict kUpsideDown{false, IGD_CM_OPERATE_FAIL};

bool is_both(const ClfType& type, const char* text) {
    return std::strcmp(type.aucMin, text) == 0 && std::strcmp(type.aucMax, text) == 0;
}

/// True ranges reach the platform for IPv4 addresses alone.
Verdict judge_texts(const ClfType& type, uint32_t em_type) {
    if (is_both(type, "") || is_both(type, "0")) return kNotSent;
    const int order = std::strcmp(type.aucMax, type.aucMin);
    if (type.aucMin[0] == '\0' || type.aucMax[0] == '\0' || order == 0) return kSent;
    if (em_type == 3 || em_type == 4) return kSent;
    return order > 0 ? kNotSent : kUpsideDown;
}

Verdict judge_numbers(const ClfType& type) {
    if (type.ulMin == 0 || type.ulMax == 0 || type.ulMin == type.ulMax) return kSent;
    return type.ulMax > type.ulMin ? kNotSent : kUpsideDown;
}

Verdict judge(const ClfType& type, uint32_t em_type) {
    constexpr uint32_t kLastText = 6;
    if (em_type <= kLastText) return judge_texts(type, em_type);
    switch (em_type) {
        case 7:
        case 8:
        case 10:
        case 11:
        case 19:
            return kSent;
        default:
            return judge_numbers(type);
    }
}

uint32_t queue_of(const Direction& direction, const Clf& clf) {
    if (direction.state.remark_priority_flag != 1) return clf.ucQueueNum;
    for (int32_t position = 0; position < kQueues; ++position) {
        Queue queue;
        if (!read_row(direction.queues, position, queue) || queue.ucQueueIndex != clf.ucQueueNum)
            continue;
        QOS_LOG_AS(direction.distribution, "QosQueueEntry.ucPriority [%d].\r\n\r\n",
                   queue.ucPriority);
        return queue.ucPriority;
    }
    return clf.ucQueueNum;
}

zu_sal_qos_flow_queue_s flow_of(const Direction& direction, const Settings& settings,
                                const Clf& clf, const ClfType& type) {
    zu_sal_qos_flow_queue_s flow;
    zero(flow);
    flow.em_kind = kFlowKind;
    flow.em_dscp_mark = settings.dscp_mark == 1 ? kMarkOn : kMarkOff;
    flow.ui_dscp = clf.ucDscpMarkValue;
    flow.em_tc_mark = settings.tc_mark == 1 ? kMarkOn : kMarkOff;
    flow.ui_tc = clf.ucTcValue;
    flow.em_8021p_mark = settings.mark_8021p;
    flow.ui_8021p = clf.uc8021pValue;
    flow.ui_mask = type.ucType == kTypeWithMask ? kWholeMask : 0;
    flow.em_direction = direction.flow_code;
    zu_sal_qos_flow_class_s& match = flow.st_flow_class[0];
    static_assert(sizeof(match.uc_min) <= sizeof(type.aucMin));
    std::memcpy(match.uc_min, type.aucMin, sizeof(match.uc_min));
    std::memcpy(match.uc_max, type.aucMax, sizeof(match.uc_max));
    match.ui_min = type.ulMin;
    match.ui_max = type.ulMax;
    match.ui_proto_list = type.ucProtocolList;
    return flow;
}

int32_t send_flow(zu_sal_qos_flow_queue_s& flow, const char* operation) {
    LOG_RECORD(kQosLog, operation, "st_qos_flow_queue", kFlowQueueLayout, flow);
    const int32_t lRet = call(kQosFlowSet, flow);
    if (lRet != 0)
        QOS_LOG_AS(operation, "Add Qos Clf Type failed with lRet [%08x].\r\n\r\n",
                   static_cast<uint32_t>(lRet));
    return lRet;
}

}  // namespace

int32_t igdCmQosIpAddrFormatAchieve(const char* text) {
    QOS_LOG("Qos Ip Address [%s].\r\n\r\n", text);
    in6_addr address;
    if (inet_pton(AF_INET6, text, &address) == 1) return 2;
    return inet_pton(AF_INET, text, &address) == 1 ? 1 : 0;
}

int32_t appcfg::qos::distribute(const Direction& direction, const ClfType& type, uint32_t action) {
    const char* operation = direction.distribution;
    QOS_LOG_AS(operation, "Classification action is [%d].\r\n\r\n", action);
    LOG_COLUMNS(kQosLog, operation, direction.types, &type);
    Settings settings{};
    static_cast<void>(direction.read_settings(settings));
    Clf clf{};
    if (find_classification(direction, type.ucClfIndex, clf) < 0) {
        QOS_LOG_AS(operation, "Can't found Clf Table !\r\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    if (settings.enabled != 1) return 0;
    zu_sal_qos_flow_queue_s flow = flow_of(direction, settings, clf, type);
    flow.ui_enable = action == kAddFlow;
    flow.ui_queue = queue_of(direction, clf);
    const uint32_t em_type = platform_type(type);
    if (em_type == kUnknownType) {
        QOS_LOG_AS(operation, "ucType [%d] is out of range.\r\n\r\n", type.ucType);
        return 0;
    }
    flow.st_flow_class[0].em_type = em_type;
    const Verdict verdict = judge(type, em_type);
    return verdict.sent ? send_flow(flow, operation) : verdict.result;
}

void appcfg::qos::log_refusal(const char* operation, const char* action, int32_t lRet) {
    QOS_LOG_AS(operation,
               "Call igdCmQosClassificationAttrDistribute() action [%s] failed with lRet "
               "[%08x].\r\n\r\n",
               action, static_cast<uint32_t>(lRet));
}

bool appcfg::qos::steers_by_priority(const Direction& direction, uint32_t plan,
                                     const Queue& queue) {
    return plan == kPlanStrict && queue.ucEnable == 1 && direction.state.basic_init_flag != 1;
}
