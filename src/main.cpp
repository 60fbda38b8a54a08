#include "board/mgmt_port_flow.h"
#include "core/daemon.h"
#include "core/mib_chain.h"
#include "netapp/loopback.h"
#include "security/dns_filter/dns_filter.h"
#include "security/ip_filter/ip_filter.h"
#include "security/mac_filter/mac_filter.h"
#include "security/url_filter/url_filter.h"
#include "uplink/uplink.h"
#include "zu_services.h"

using namespace appcfg;

int main() {
    // Platform services come up, and get their stored configuration back, in this order.
    static constexpr StartupStep kStartup[] = {
        mib_chain_clear,
        zu_sec_wlan_isolation_init,

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
        {dns_filter_bus_object()}, {ip_filter_bus_object()},  {url_filter_bus_object()},
        {loopback_bus_object()},   {mac_filter_bus_object()}, {uplink_bus_object(), true},
    };
    return run_daemon(kStartup, kObjects);
}
