#include <cstdlib>
#include <cstring>

#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "qos/flows/classifications.h"
#include "qos/flows/lan_port.h"
#include "qos/flows/lookup.h"
#include "qos/flows/steering.h"

namespace appcfg::qos {
namespace {

constexpr uint8_t kLastTextType = 4;
constexpr uint8_t kLanPortType = 11;

bool is_text_type(uint8_t type) {
    return type >= 1 && type <= kLastTextType;
}

/// A type's value as a number: LAN ports count from 1, everything else may be decimal, octal or
/// hexadecimal.
uint32_t number_of(uint8_t type, const char* text) {
    if (type == kLanPortType) return static_cast<uint32_t>(igdCmUtlLanportName2Portid(text)) + 1;
    return static_cast<uint32_t>(std::strtoll(text, nullptr, 0));
}

/// True when a stored type matches just what the request asks for.
bool is_same(const ClfType& row, const ClfType& request) {
    if (row.ucProtocolList != request.ucProtocolList || row.ucType != request.ucType) return false;
    if (request.ucType <= kLastTextType || request.ucType == 10)
        return std::strcmp(row.aucMax, request.aucMax) == 0 &&
               std::strcmp(row.aucMin, request.aucMin) == 0;
    return row.ulMax == number_of(request.ucType, request.aucMax) &&
           row.ulMin == number_of(request.ucType, request.aucMin);
}

bool is_blank(const ClfType& row) {
    return row.ucProtocolList == 0 && row.ucType == 0;
}

bool has_twin(const Direction& direction, const ClfType& request, int32_t position) {
    ClfType row{};
    return walk_rows(direction.types, row, [&](const ClfType& other, int32_t at) {
               return at != position && is_same(other, request);
           }) >= 0;
}

/// Takes one end of the range over, as text or as number, by the type.
template <size_t Size>
void take_value(uint8_t type, const char (&given)[Size], char (&text)[Size], uint32_t& number) {
    if (is_text_type(type)) {
        copy_record(text, given);
        number = 0;
    } else {
        zero(text);
        number = number_of(type, given);
    }
}

void merge(const ClfType& request, ClfType& row) {
    const uint32_t selected = request.ulBitmap;
    if (selected & ClfType::ProtocolList) row.ucProtocolList = request.ucProtocolList;
    if (selected & ClfType::Type && row.ucType != request.ucType) {
        row.ucType = request.ucType;
        zero(row.aucMax);
        zero(row.aucMin);
        row.ulMax = row.ulMin = 0;
    }
    if (selected & ClfType::Max) take_value(row.ucType, request.aucMax, row.aucMax, row.ulMax);
    if (selected & ClfType::Min) take_value(row.ucType, request.aucMin, row.aucMin, row.ulMin);
    row.ulBitmap |= selected;
}

/// Replaces a type's flow; the old one is added again if the platform refuses the new one.
bool replace_flow(const Direction& direction, const ClfType& old, const ClfType& merged,
                  const char* operation) {
    if (const int32_t lRet = distribute(direction, old, kDeleteFlow); lRet != 0)
        log_refusal(operation, "delete", lRet);
    const int32_t lRet = distribute(direction, merged, kAddFlow);
    if (lRet == 0) return true;
    log_refusal(operation, "add", lRet);
    static_cast<void>(distribute(direction, old, kAddFlow));
    return false;
}

}  // namespace

int32_t add_type(const Direction& direction, ClfType& request, const char* operation) {
    if (request.ucClfIndex == 0) {
        QOS_LOG_AS(operation, "input ClfIndex [%d] is error.\r\n\r\n", request.ucClfIndex);
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    uint32_t types = 0;
    for_each_type_of(direction, request.ucClfIndex, [&](const ClfType&, int32_t) {
        ++types;
        return 0;
    });
    if (types >= kMostTypes) {
        QOS_LOG_AS(operation, "Qos Clf Type table is full !\r\n\r\n");
        return IGD_CM_OPERATE_FULL;
    }
    if (request.ulBitmap != 0) {
        const int32_t lRet = distribute(direction, request, kAddFlow);
        if (lRet != 0) {
            QOS_LOG_AS(operation,
                       "Call igdCmQosClassificationAttrDistribute() failed with lRet "
                       "[%08x].\r\n\r\n",
                       static_cast<uint32_t>(lRet));
            return IGD_CM_OPERATE_FAIL;
        }
    }
    ClfType row = request;
    row.ucTypeIndex = next_index(direction.types, &ClfType::ucTypeIndex, [&](const ClfType& other) {
        return other.ucClfIndex == request.ucClfIndex;
    });
    if (!add_row(direction.types, row)) return IGD_CM_OPERATE_FAIL;
    request.ucTypeIndex = row.ucTypeIndex;
    return 0;
}

int32_t set_type(const Direction& direction, const ClfType& request, const char* operation) {
    if (request.ucClfIndex == 0 || request.ucClfIndex > kMostClassifications ||
        request.ucTypeIndex > kMostTypes || !selected_in_range(direction.types, request))
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    ClfType old{};
    const int32_t position = find_type(direction, request.ucClfIndex, request.ucTypeIndex, old);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    if (has_twin(direction, request, position)) {
        if (is_blank(old)) static_cast<void>(delete_row(direction.types, position));
        return IGD_CM_OPERATE_FAIL;
    }
    ClfType merged = old;
    merge(request, merged);
    Steering steering = steer(direction, queue_of_classification(direction, request.ucClfIndex));
    const bool done = replace_flow(direction, old, merged, operation) &&
                      write_row(direction.types, position, merged);
    steering.lower();
    return done ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t delete_type(const Direction& direction, const ClfType& request, const char* operation) {
    if (request.ucClfIndex > kMostClassifications || request.ucTypeIndex > kMostTypes)
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    ClfType type{};
    const int32_t position = find_type(direction, request.ucClfIndex, request.ucTypeIndex, type);
    if (position < 0) return 0;
    const Queue queue = queue_of_classification(direction, request.ucClfIndex);
    QOS_LOG_AS(operation, "QosQueueEntry.ucQueueIndex [%d].\r\n\r\n", queue.ucQueueIndex);
    Steering steering = steer(direction, queue);
    if (const int32_t lRet = distribute(direction, type, kDeleteFlow); lRet != 0) {
        QOS_LOG_AS(operation,
                   "Call igdCmQosClassificationAttrDistribute() faild with lRet [%08x].\r\n\r\n",
                   static_cast<uint32_t>(lRet));
        return IGD_CM_OPERATE_FAIL;
    }
    const bool deleted = delete_row(direction.types, position);
    steering.lower();
    return deleted ? 0 : IGD_CM_OPERATE_FAIL;
}

}  // namespace appcfg::qos
