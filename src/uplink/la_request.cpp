#include "uplink/la_request.h"

#include "core/bounded.h"

namespace appcfg::uplink {
namespace {

constexpr uint32_t kMostSlaves = 8;

enum Position { kSlaves, kBondingPolicy, kFirstTuning };

/// Names that do not fit cannot be those of interfaces: then none counts.
void take_slaves(blob_attr* array, LaRequest& request) {
    blob_attr* element;
    size_t rest;
    blobmsg_for_each_attr(element, array, rest) {
        if (blobmsg_type(element) != BLOBMSG_TYPE_STRING || !blobmsg_check_attr(element, false))
            continue;
        if (!request.slaves.add(blobmsg_get_string(element))) {
            request.slave_count = 0;
            return;
        }
        if (++request.slave_count == kMostSlaves) return;
    }
}

}  // namespace

LaRequest read_la_request(GivenArguments given) {
    LaRequest request{};
    take_slaves(given[kSlaves], request);
    cut_text(request.bonding_policy, blobmsg_get_string(given[kBondingPolicy]));
    for (size_t i = 0; i < std::size(kLaTuning); ++i)
        if (blob_attr* text = given[kFirstTuning + i])
            request.*kLaTuning[i].value = blobmsg_get_string(text);
    return request;
}

}  // namespace appcfg::uplink
