#include "qos/qos_requests.h"

#include "qos/qos.h"
#include "qos/smart/coupling.h"

namespace appcfg::qos {

Outcome set_basic(BasicRequest& request) {
    request.basic.ucEnableTcMark = request.basic.ucEnableDscpMark;
    request.basic.ulBitmap = Basic::All;
    return set_basic_attributes(request.basic);
}

Outcome add_and_set_classification(Clf& request) {
    request.ucClfIndex = 0;  // the add chooses
    if (const int32_t code = igdCmQosClfAttrAdd(&request, sizeof(request)); code != 0)
        return {code, "igdCmQosClfAttrAdd error"};
    return Outcome::of(igdCmQosClfAttrSet(&request, sizeof(request)), kClfSetFailure);
}

Outcome add_and_set_type(ClfType& request) {
    if (const int32_t code = igdCmQosClfTypeAttrAdd(&request, sizeof(request)); code != 0)
        return {code, "igdCmQosClfTypeAttrAdd error"};
    return Outcome::of(igdCmQosClfTypeAttrSet(&request, sizeof(request)), kTypeSetFailure);
}

}  // namespace appcfg::qos
