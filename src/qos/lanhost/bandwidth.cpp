#include <cstring>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "qos/lanhost/lanhost.h"
#include "records/netif.h"
#include "records/qos.h"
#include "zu_ebtables.h"
#include "zu_os.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

/// The rule is split at blanks: an address of several words, or of none, would change its meaning,
/// and names such as "Unicast" mean more hosts than one.
bool is_mac_word(const char* mac) {
    return *mac != '\0' && std::strspn(mac, "0123456789abcdefABCDEF:") == std::strlen(mac);
}

}  // namespace

int32_t bandwidth_cmd_operate(uint32_t direction, const char* op, const char* mac, int32_t qid) {
    const bool up = direction == 0;
    char rule[128];
    if (!is_mac_word(mac) ||
        snprintf_s(rule, sizeof(rule), sizeof(rule) - 1,
                   up ? "-s %s -j cfe --qid %d" : "-d %s -j cfe --qid %d", mac, qid) < 0)
        return kBandwidthRuleError;
    return zu_ebtables_rule_op("nat", op, up ? kUpChain : kDownChain, rule);
}

int32_t alloc_bandwidth_qos_profile_id(uint32_t rate) {
    st_qos_profile profile;
    zero(profile);
    profile.first_rate = profile.second_rate = rate;
    if (call(kQosProfileSet, profile) != 0) {
        LANHOST_LOG("alloc_bandwidth_qos_profile_id failled\n");
        return 0;
    }
    return static_cast<int32_t>(profile.id);
}

void free_bandwidth_qos_profile_id(int32_t qid) {
    st_qos_profile profile;
    zero(profile);
    profile.id = static_cast<uint32_t>(qid);
    if (call(kQosProfileDel, profile) != 0) LANHOST_LOG("del qid[%d] failled\n", qid);
}

int32_t flush_lrn_tbl_by_mac(const char* mac) {
    st_lrn_flush flush;
    zero(flush);
    flush.kind = kLearntFromHost;
    if (!mac || zu_mac_pton(mac, flush.mac) != 0) return IGD_CM_OPERATE_FAIL;
    return call(kLearntFlush, flush);
}
