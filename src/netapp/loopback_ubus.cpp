#include "core/bus_object.h"
#include "netapp/loopback.h"

namespace appcfg {
namespace {

using Settings = IgdSysmngLoopdetectAttrConfTab;
using State = IgdSysmngLoopbackStateInfoTab;

/// None: starting applies what is stored and takes nothing over from the request. The settings
/// themselves are provisioned through the table alone.
constexpr uint32_t kNoField = 0;

constexpr Argument kSettings[] = {
    ARGUMENT(Settings, ucLoopbackEnable),    ARGUMENT(Settings, ucPkgPerSec),
    ARGUMENT(Settings, ucLoopExistPeriod),   ARGUMENT(Settings, ucLoopCancelPeriod),
    ARGUMENT(Settings, aucVlanTag).or_cut(), ARGUMENT(Settings, aucLoopEthType).or_cut(),
};
constexpr std::span<const Argument> kTimes = std::span(kSettings).subspan(1, 3);

constexpr Argument kState[] = {
    ARGUMENT(State, ucPortId),
    ARGUMENT(State, ucLoopStatus),
};
constexpr std::span<const Argument> kPort = std::span(kState).first(1);

constexpr Method kMethods[] = {
    method<igdCmSysmngLoopbackAttrSet>("loopback_detection_start", kSettings, kNoField,
                                       "igdCmSysmngLoopbackAttrSet error"),
    method<igdCmSysmngLoopbackAttrGet>("loopback_detection_time_get", {}, kNoField,
                                       "igdCmSysmngLoopbackAttrGet error")
        .reporting(kTimes),
    method<igdCmSysmngLoopbackStateGet>("loopback_detection_result_get", kPort, kNoField,
                                        "igdCmSysmngLoopbackStateGet error")
        .reporting(kState),
};

BUS_OBJECT(object, "app_netapp", kMethods);

}  // namespace

ubus_object* loopback_bus_object() {
    return &object;
}

}  // namespace appcfg
