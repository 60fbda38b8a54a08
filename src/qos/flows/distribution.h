#pragma once

#include "qos/flows/direction.h"

// Telling the platform of flows: a classification's types become one flow record each.

namespace appcfg::qos {

/// What is done to a flow, as front ends and log lines number it.
inline constexpr uint32_t kAddFlow = 1;
inline constexpr uint32_t kDeleteFlow = 2;

/// Adds or deletes the flow of a type, by the settings and the classification that are stored.
/// Nothing is sent, with result 0, while QoS is off, for types that the platform does not know and
/// for values that mean nothing. IGD_CM_OPERATE_FAIL without a classification and for a range that
/// is upside down; else the platform's result. Logs in the name of the
/// direction's distribution.
[[nodiscard]] int32_t distribute(const Direction& direction, const ClfType& type, uint32_t action);

/// Logs, in the name of `operation`, that the platform refused to "add" or "delete" a flow.
void log_refusal(const char* operation, const char* action, int32_t lRet);

/// Whether the flows of `queue` are steered by its priority, which the remark flag then says while
/// they are distributed.
bool steers_by_priority(const Direction& direction, uint32_t plan, const Queue& queue);

}  // namespace appcfg::qos

/// Family of an address: 1 IPv4, 2 IPv6, 0 neither.
int32_t igdCmQosIpAddrFormatAchieve(const char* text);
