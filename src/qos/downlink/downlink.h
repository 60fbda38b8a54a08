#pragma once

#include <cstdint>

#include "qos/qos_records.h"

// The downlink's operations beside igd_cm_downlink_qos_basic_set (qos/qos.h). Classifications,
// types and queues are those of the upstream on tables of their own, and so are results and
// records, except that other processes hand classifications in as IgdDownlinkQosClfTab.

/// A downlink classification as other processes send it.
struct IgdDownlinkQosClfTab {
    uint32_t ulReserved;
    uint32_t index;  ///< 1 to 8
    uint8_t enable;
    uint8_t queue;
    uint8_t dscp_mark_value;
    uint8_t value_8021p;
    uint32_t aucReserved[2];
    uint32_t ulBitmap;  ///< as of an upstream classification
};
static_assert(sizeof(IgdDownlinkQosClfTab) == 24);

/// The same as a set takes it, in a record as long as a type's.
struct IgdDownlinkQosClfSetTab {
    IgdDownlinkQosClfTab clf;
    uint8_t aucReserved[252];
};
static_assert(sizeof(IgdDownlinkQosClfSetTab) == 276);

int32_t igd_cm_downlink_qos_clf_add(IgdDownlinkQosClfTab* request, uint32_t size);
int32_t igd_cm_downlink_qos_clf_del(IgdDownlinkQosClfTab* request, uint32_t size);
int32_t igd_cm_downlink_qos_clf_set(IgdDownlinkQosClfSetTab* request, uint32_t size);

int32_t igd_cm_downlink_qos_clf_type_add(IgdQosClfTypeAttrConfTab* request, uint32_t size);
int32_t igd_cm_downlink_qos_clf_type_del(IgdQosClfTypeAttrConfTab* request, uint32_t size);
int32_t igd_cm_downlink_qos_clf_type_set(IgdQosClfTypeAttrConfTab* request, uint32_t size);

/// Adds (`action` 1) or deletes (2) the flow of one type.
int32_t igd_cm_downlink_clf_distribute(const IgdQosClfTypeAttrConfTab& type, uint32_t action);

int32_t igd_cm_downlink_qos_queue_set(IgdQosQueueAttrConfTab* request, uint32_t size);

/// Apply the stored row, and all stored queues, at a start. Results as of the sets; the queues' is
/// always 0.
int32_t igd_cm_downlink_qos_basic_init();
int32_t igd_cm_downlink_qos_queue_init();
