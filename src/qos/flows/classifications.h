#pragma once

#include "qos/flows/direction.h"

// The operations on classifications and their types of one direction; what they do and return is
// told with the upstream's in qos/qos.h. They log in the name of `operation`.

namespace appcfg::qos {

int32_t add_classification(const Direction& direction, Clf& request, const char* operation);
int32_t set_classification(const Direction& direction, const Clf& request, const char* operation);
int32_t delete_classification(const Direction& direction, const Clf& request,
                              const char* operation);

int32_t add_type(const Direction& direction, ClfType& request, const char* operation);
int32_t set_type(const Direction& direction, const ClfType& request, const char* operation);
int32_t delete_type(const Direction& direction, const ClfType& request, const char* operation);

}  // namespace appcfg::qos
