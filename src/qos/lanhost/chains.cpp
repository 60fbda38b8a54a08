#include "core/log.h"
#include "qos/lanhost/lanhost.h"
#include "zu_ebtables.h"

using namespace appcfg;
using namespace appcfg::qos;

namespace {

constexpr char kTable[] = "nat";

/// Puts the jumps to the chains in front ("-I") or takes them out ("-D"); how many failed.
int jumps(const char* op) {
    return (zu_ebtables_rule_op(kTable, op, "PREROUTING", "-j ZU_DEVSPEED_PREROUTING") != 0) +
           (zu_ebtables_rule_op(kTable, op, "POSTROUTING", "-j ZU_DEVSPEED_POSTROUTING") != 0);
}

}  // namespace

int32_t init_dev_bandwidth_xtables() {
    int failed = 0;
    for (const char* chain : {kUpChain, kDownChain})
        failed += zu_ebtables_newchain(kTable, chain, "RETURN") != 0;
    failed += jumps("-I");
    if (failed == 0) return 0;
    LANHOST_LOG("init_dev_bandwidth xtables init failed\n");
    return kBandwidthRuleError;
}

void exit_dev_bandwidth() {
    int failed = 0;
    for (const char* chain : {kUpChain, kDownChain})
        failed += zu_ebtables_flushchain(kTable, chain) != 0;
    failed += jumps("-D");
    for (const char* chain : {kUpChain, kDownChain})
        failed += zu_ebtables_delchain(kTable, chain) != 0;
    if (failed != 0) LANHOST_LOG("netmonitor xtables exit failed\n");
}
