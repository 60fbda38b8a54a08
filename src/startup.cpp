#include "startup.h"

#include "board/mgmt_port_flow.h"
#include "core/mib_chain.h"
#include "netapp/loopback.h"
#include "qos/qos.h"
#include "security/dns_filter/dns_filter.h"
#include "security/ip_filter/ip_filter.h"
#include "security/mac_filter/mac_filter.h"
#include "security/url_filter/url_filter.h"
#include "zu_services.h"

using namespace appcfg;

std::span<const StartupStep> startup_steps() {
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
    return kStartup;
}
