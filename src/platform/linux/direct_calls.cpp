#include "platform/linux/direct_calls.h"

#include "platform/include/zu_ipc.h"
#include "platform/include/zu_services.h"

namespace {

int32_t call_without_record(const char* name) {
    return zu_ipc_call(name, nullptr, 0);
}

}  // namespace

extern "C" {

int32_t zu_sec_wlan_isolation_init() {
    return call_without_record(__func__);
}
int32_t zu_sec_dnsfilter_init() {
    return call_without_record(__func__);
}
int32_t zu_sec_ipfilter_init() {
    return call_without_record(__func__);
}
int32_t zu_sec_urlfilter_init() {
    return call_without_record(__func__);
}
int32_t zu_netapp_loopback_init() {
    return call_without_record(__func__);
}
int32_t init_macfilter() {
    return call_without_record(__func__);
}
int32_t zu_qos_init() {
    return call_without_record(__func__);
}

int32_t zu_netif_set_dport_flow(uint32_t port, uint32_t index, uint32_t value) {
    st_port_flow flow = {port, index, value};
    return call(platform::kSetDportFlow, flow);
}

int32_t zu_netif_set_sport_flow(uint32_t port, uint32_t index, uint32_t value) {
    st_port_flow flow = {port, index, value};
    return call(platform::kSetSportFlow, flow);
}

int32_t zu_netif_set_cpu_rate(uint32_t rate) {
    st_cpu_rate record = {rate};
    return call(platform::kSetCpuRate, record);
}
}
