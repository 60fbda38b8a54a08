#include "qos/lanhost/lanhost.h"
#include "qos/qos.h"
#include "qos/startup/startup.h"
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

}  // namespace

void libqos_init() {
    make_chains();
    zu_qos_init();
    init_dev_bandwidth_xtables();
    lanhost_bw_replay();
    igdCmQosModuleInit();
}

}  // namespace appcfg::qos
