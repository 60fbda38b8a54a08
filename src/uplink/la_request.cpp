#include "uplink/la_request.h"

#include "core/bounded.h"

namespace appcfg::uplink {
namespace {

enum Position { kSlaves, kBondingPolicy, kFirstTuning };

void take_texts(blob_attr* array, TextList& list) {
    blob_attr* element;
    size_t rest;
    blobmsg_for_each_attr(element, array, rest) {
        if (list.count == TextList::kMost) return;
        if (blobmsg_type(element) == BLOBMSG_TYPE_STRING && blobmsg_check_attr(element, false))
            list.texts[list.count++] = blobmsg_get_string(element);
    }
}

}  // namespace

LaRequest read_la_request(GivenArguments given) {
    LaRequest request{};
    take_texts(given[kSlaves], request.slaves);
    cut_text(request.bonding_policy, blobmsg_get_string(given[kBondingPolicy]));
    for (size_t i = 0; i < std::size(kLaTuning); ++i)
        if (blob_attr* text = given[kFirstTuning + i])
            request.*kLaTuning[i].value = blobmsg_get_string(text);
    return request;
}

}  // namespace appcfg::uplink
