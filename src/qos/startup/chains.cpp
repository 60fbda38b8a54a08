#include "qos/lanhost/lanhost.h"
#include "qos/qos.h"
#include "qos/startup/startup.h"
#include "zu_ebtables.h"
#include "zu_os.h"
#include "zu_services.h"

namespace appcfg::qos {
namespace {

constexpr int kChains = 8;

/// What is there already is not made again, and a jump is taken out before it is put in.
void make_chains_of(const char* tool, int number) {
    zu_os_vcmd("%s -t mangle -N ZU_QOS_CHAIN_%d 2>/dev/null", tool, number);
    zu_os_vcmd("%s -t mangle -N ZU_DL_QOS_CHAIN_%d 2>/dev/null", tool, number);
    zu_os_vcmd("%s -t mangle -D FORWARD -i br-lan -j ZU_QOS_CHAIN_%d 2>/dev/null", tool, number);
    zu_os_vcmd("%s -t mangle -A FORWARD -i br-lan -j ZU_QOS_CHAIN_%d", tool, number);
    zu_os_vcmd("%s -t mangle -D FORWARD -o br-lan -j ZU_DL_QOS_CHAIN_%d 2>/dev/null", tool, number);
    zu_os_vcmd("%s -t mangle -A FORWARD -o br-lan -j ZU_DL_QOS_CHAIN_%d", tool, number);
}

void make_chains() {
    for (const char* tool : {"iptables", "ip6tables"})
        for (int number = 0; number < kChains; ++number)
            make_chains_of(tool, number);
}

/// A start after the first finds the chains of hosts' limits as the one before has left them. They go,
/// or every jump and rule would stand twice, and a deleted host keep one of its two.
void remove_old_host_chains() {
    if (zu_ebtables_flushchain("nat", kUpChain) == 0) exit_dev_bandwidth();
}

}  // namespace

void libqos_init() {
    make_chains();
    zu_qos_init();
    remove_old_host_chains();
    init_dev_bandwidth_xtables();
    lanhost_bw_replay();
    igdCmQosModuleInit();
}

}  // namespace appcfg::qos
