#pragma once

#include <cstdint>

// Direct calls into the platform's service libraries. All return 0 on success.

extern "C" {

/// Initialise one service; what is already set up in it is discarded.
int32_t zu_sec_wlan_isolation_init(void);
int32_t zu_sec_dnsfilter_init(void);
int32_t zu_sec_ipfilter_init(void);
int32_t zu_sec_urlfilter_init(void);
int32_t zu_netapp_loopback_init(void);
int32_t init_macfilter(void);
int32_t zu_qos_init(void);

/// Limits the flow of management traffic to / from TCP and UDP port `port`. `index` and `value` are
/// the platform's own; `value` is its traffic class.
int32_t zu_netif_set_dport_flow(uint32_t port, uint32_t index, uint32_t value);
int32_t zu_netif_set_sport_flow(uint32_t port, uint32_t index, uint32_t value);

/// Limits the packets per second that reach the CPU.
int32_t zu_netif_set_cpu_rate(uint32_t rate);
}
