#include "core/bus_object.h"
#include "uplink/la_report.h"
#include "uplink/link_aggregation.h"
#include "uplink/uplink.h"
#include "uplink/uplink_mode.h"
#include "uplink/wan_backup.h"

namespace appcfg {
namespace uplink {
namespace {

constexpr Argument kSetArguments[] = {
    ARGUMENT(LaRequest, slaves),
    ARGUMENT(LaRequest, bonding_policy).or_cut(),
    ARGUMENT(LaRequest, packets_per_slave),
    ARGUMENT(LaRequest, primary),
    ARGUMENT(LaRequest, primary_reselect),
    ARGUMENT(LaRequest, xmit_hash_policy),
    ARGUMENT(LaRequest, lacp_rate),
    ARGUMENT(LaRequest, ad_select),
    ARGUMENT(LaRequest, tlb_dynamic_lb),
};

constexpr Argument kModeArguments[] = {ARGUMENT(ModeRequest, mode), ARGUMENT(ModeRequest, port)};

constexpr Argument kBackupArguments[] = {
    ARGUMENT(WanBackup, enable),       ARGUMENT(WanBackup, fixed_port),
    ARGUMENT(WanBackup, primary_port), ARGUMENT(WanBackup, backup_port),
    ARGUMENT(WanBackup, active_port),
};

constexpr Method kMethods[] = {
    method<link_aggregation_set>("link_aggregation_set", kSetArguments)
        .with_optional(std::size(kLaTuning)),
    method<link_aggregation_del>("link_aggregation_del"),
    method<link_aggregation_del_no_commit>("link_aggregation_del_no_commit"),
    method<link_aggregation_get>("link_aggregation_get"),
    method<uplink_mode_set>("uplink_mode_set", kModeArguments)
        .with_optional(std::size(kModeArguments)),
    method<wan_backup_set>("wan_backup_set", kBackupArguments)
        .with_optional(std::size(kBackupArguments)),
};

BUS_OBJECT(object, "app_uplink", kMethods);

}  // namespace
}  // namespace uplink

ubus_object* uplink_bus_object() {
    return &uplink::object;
}

}  // namespace appcfg
