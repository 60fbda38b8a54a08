#include "qos/smart/coupling.h"

#include <algorithm>
#include <cstring>

#include "qos/qos.h"
#include "vsuci.h"

namespace appcfg::qos {
namespace {

/// Bandwidth of one rate, as a power of 2.
constexpr uint32_t kRateShift = 9;

constexpr char kBasicFailure[] = "igdCmQosBasicAttrSet error";
constexpr char kUpstreamFailure[] = "igd_cm_smart_qos_upstream_profile_set error";
constexpr char kDownstreamFailure[] = "igd_cm_smart_qos_downstream_profile_set error";

bool is_smart_qos_on() {
    char enable[2];
    vsuci_get("smart_qos", "smart_qos", "enable", enable, sizeof(enable));
    return std::strcmp(enable, "1") == 0;
}

uint32_t bandwidth_of(uint32_t rate) {
    return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{rate} << kRateShift, UINT32_MAX));
}

int32_t set_profile(SmartProfile profile) {
    return igd_cm_smart_qos_upstream_profile_set(&profile, sizeof(profile));
}

int32_t set_bandwidth(uint32_t bandwidth) {
    Basic basic{};
    basic.ucQosEnable = 1;
    basic.ucPlan = kPlanStrict;
    basic.ulBandwidth = bandwidth;
    basic.ulBitmap = Basic::Enable | Basic::Plan | Basic::Bandwidth;
    return igdCmQosBasicAttrSet(&basic, sizeof(basic));
}

}  // namespace

Outcome set_upstream_profile(SmartProfile& request) {
    int32_t ret = set_profile(request);
    if (ret == 0 && request.rate_limit != 0) ret = set_bandwidth(bandwidth_of(request.rate_limit));
    return Outcome::of(ret, kUpstreamFailure);
}

Outcome set_downstream_profile(SmartProfile& request) {
    return Outcome::of(igd_cm_smart_qos_downstream_profile_set(&request, sizeof(request)),
                       kDownstreamFailure);
}

Outcome set_basic_attributes(Basic& request) {
    const uint32_t bandwidth = request.ulBandwidth;
    const int32_t ret = igdCmQosBasicAttrSet(&request, sizeof(request));
    if (ret != 0) return {ret, kBasicFailure};
    if (!is_smart_qos_on()) return {};
    return Outcome::of(set_profile({bandwidth >> kRateShift}), kUpstreamFailure);
}

}  // namespace appcfg::qos
