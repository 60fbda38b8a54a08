#include <cstdio>
#include <cstring>

#include "base/standard_descriptors.h"
#include "board/mgmt_port_flow.h"
#include "core/daemon.h"
#include "core/mib_chain.h"
#include "netapp/loopback.h"
#include "qos/qos.h"
#include "security/dns_filter/dns_filter.h"
#include "security/ip_filter/ip_filter.h"
#include "security/mac_filter/mac_filter.h"
#include "security/url_filter/url_filter.h"
#include "uplink/uplink.h"
#include "zu_services.h"

using namespace appcfg;

namespace {

constexpr int kUsageError = 2;

/// Answers whoever asks what this program is. The daemon takes no arguments, and one that is
/// started beside a running one would replay the whole configuration.
int describe(const char* question) {
    if (std::strcmp(question, "--version") == 0) {
        std::puts("appcfgd " APPCFGD_VERSION);
        return 0;
    }
    const bool asked = std::strcmp(question, "--help") == 0;
    std::fputs(
        "Usage: appcfgd [--help | --version]\n"
        "Without arguments: replays the stored configuration into the platform, then serves the\n"
        "app_* objects on the bus until SIGTERM.\n",
        asked ? stdout : stderr);
    return asked ? 0 : kUsageError;
}

}  // namespace

int main(int argc, char** argv) {
    base::occupy_standard_descriptors();
    if (argc > 1) return describe(argv[1]);
    // Platform services come up, and get their stored configuration back, in this order.
    static constexpr StartupStep kStartup[] = {
        mib_chain_clear,
        zu_sec_wlan_isolation_init,

        // Its stored configuration is played when a front end says so: it has to wait for the WAN.
        qos::register_tables,

        register_dns_filter_tables,
        zu_sec_dnsfilter_init,
        igdCmDnsFilterConfigInit,
        igdCmSecureDnsFilterListInit,

        register_ip_filter_tables,
        register_url_filter_tables,
        zu_sec_ipfilter_init,
        igdCmSecureIPFilterAllInit,
        zu_sec_urlfilter_init,
        igdCmSecureModuleInit,

        register_loopback_tables,
        zu_netapp_loopback_init,
        igdCmSysmngLoopbackAttrInit,

        register_mac_filter_tables,
        init_macfilter,
        igdCmMacFilterModuleInit,

        mgmt_port_flow_init,
    };
    const PublishedObject kObjects[] = {
        {qos::bus_object()},         {dns_filter_bus_object()}, {ip_filter_bus_object()},
        {url_filter_bus_object()},   {loopback_bus_object()},   {mac_filter_bus_object()},
        {uplink_bus_object(), true},
    };
    return run_daemon(kStartup, kObjects);
}
