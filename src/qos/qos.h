#pragma once

#include <cstdint>

#include "qos/qos_records.h"

struct ubus_object;

// Quality of service: which traffic goes first on the uplink and towards the LAN, and how fast
// single hosts, ports, VLANs and address ranges may be. Everything is stored in the package app_qos
// and told to the platform's QoS service.
//
// Operations take a record and its size; a wrong size or a null record is
// IGD_CM_GLOBAL_INPUT_PARA_ERROR. Where a range is stated, a value that the request selects and
// that is outside of it is IGD_CM_GLOBAL_INPUT_PARA_ERROR, too, with nothing changed. What else may
// come back is said with each: 0, IGD_CM_OPERATE_FAIL, IGD_CM_OPERATE_FULL, or the platform's own
// result.

// --- Basic attributes of the upstream (upstream/basic.cpp)

/// Switches upstream QoS and sets its plan, marks and bandwidth. The platform gets the basic record
/// first and, if it takes it, everything that depends on it anew: flows are deleted with the old
/// settings and added with the new ones, row 0 holding those that count at each of these calls. The
/// queues follow when the plan changes from or to kPlanStrict. A platform that refuses the basic
/// record leaves the stored row as it was; its result is returned.
int32_t igdCmQosBasicAttrSet(IgdQosBasicAttrConfTab* request, uint32_t size);
/// Reads the row; IGD_CM_OPERATE_FAIL if that fails.
int32_t igdCmQosBasicAttrGet(IgdQosBasicAttrConfTab* out, uint32_t size);
/// Applies the stored row; result as of the Set.
int32_t igdCmQosBasicAttrInit();

// --- Classifications and their types (upstream/classifications.cpp)

/// Appends a classification under the lowest free index from 1, which is written back. An empty
/// bitmap stands for the defaults: enabled, queue 8. IGD_CM_OPERATE_FULL when there are 8. The
/// platform hears of a classification only with its types.
int32_t igdCmQosClfAttrAdd(IgdQosClfAttrConfTab* request, uint32_t size);
/// Changes the selected members. Every type's flow is deleted as it was and added as it is to be; a
/// flow that the platform refuses ends that with its result, the old row stored. An index above 8
/// or unknown is IGD_CM_GLOBAL_INPUT_PARA_ERROR.
int32_t igdCmQosClfAttrSet(IgdQosClfAttrConfTab* request, uint32_t size);
/// Deletes the flows and rows of its types, then the classification. A flow that the platform does
/// not delete ends that: IGD_CM_OPERATE_FAIL, as for an unknown index. An index above 8 is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR.
int32_t igdCmQosClfAttrDel(IgdQosClfAttrConfTab* request, uint32_t size);
/// Fills the request with the row of its index; IGD_CM_OPERATE_FAIL if there is none.
int32_t igdCmQosClfAttrGet(IgdQosClfAttrConfTab* request, uint32_t size);
/// Counts the rows.
int32_t igdCmQosClfEntryNumGet(uint32_t* count, uint32_t size);
/// Lists the indexes, or the rows, in table order; `size` is that of the array in bytes.
/// IGD_CM_OPERATE_FAIL if they do not fit.
int32_t igdCmQosClfGetallIndex(uint32_t* indexes, uint32_t size);
int32_t igdCmQosClfGetallConfigInfo(IgdQosClfAttrConfTab* rows, uint32_t size);

/// Appends a type under the highest index of its classification plus 1, which is written back. With
/// a bitmap its flow is added first: if that fails, IGD_CM_OPERATE_FAIL and nothing is stored.
/// IGD_CM_OPERATE_FULL when the classification has 4; classification 0 is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR.
int32_t igdCmQosClfTypeAttrAdd(IgdQosClfTypeAttrConfTab* request, uint32_t size);
/// Changes the selected members; the value that the type calls for is taken from the texts. Its
/// flow is deleted and added anew; if that fails, the old one is added again and
/// IGD_CM_OPERATE_FAIL returned, as for a type that does not exist or matches what another does
/// (one that has just been added and is still blank is then deleted). Classification 0 or above 8,
/// or a type above 4, is IGD_CM_GLOBAL_INPUT_PARA_ERROR.
int32_t igdCmQosClfTypeAttrSet(IgdQosClfTypeAttrConfTab* request, uint32_t size);
/// Deletes flow and row. 0 also when there is no such type; IGD_CM_OPERATE_FAIL, the row staying,
/// if the flow is not deleted. Classification above 8, type above 4:
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR.
int32_t igdCmQosClfTypeAttrDel(IgdQosClfTypeAttrConfTab* request, uint32_t size);
/// Fills the request with the row of its two indexes; IGD_CM_OPERATE_FAIL if there is none.
int32_t igdCmQosClfTypeAttrGet(IgdQosClfTypeAttrConfTab* request, uint32_t size);
int32_t igdCmQosClfTypeEntryNumGet(uint32_t* count, uint32_t size);
/// Tells the platform of one type: `action` 1 adds its flow, 2 deletes it. Nothing is sent, with
/// result 0, while QoS is off, for types that the platform does not know and for values that mean
/// nothing. IGD_CM_OPERATE_FAIL without a classification or for a range that is upside down; else
/// the platform's result.
int32_t igdCmQosClassificationAttrDistribute(const IgdQosClfTypeAttrConfTab& type, uint32_t action);

// --- Queues (upstream/queues.cpp)

/// Changes the selected members of a queue, index up to 8, as the plan calls for it; under
/// kPlanWeighted all enabled queues are sent with reduced weights, on the way to kPlanStrict all
/// with its defaults. Flows that are steered by priority are distributed anew. A queue that stays
/// as it is sends nothing. IGD_CM_OPERATE_FAIL for a queue without a row and, on the way out of
/// kPlanStrict, for one without classification (its row is then not stored); else the platform's
/// result.
int32_t igdCmQosQueueAttrSet(IgdQosQueueAttrConfTab* request, uint32_t size);
/// Fills the request with the row of its index; IGD_CM_OPERATE_FAIL if there is none.
int32_t igdCmQosQueueAttrGet(IgdQosQueueAttrConfTab* request, uint32_t size);
/// Applies all stored queues; always 0.
int32_t igdCmQosQueueAttrInit();

// --- Applications and items (upstream/applications.cpp, upstream/items.cpp)

/// Appends an application under the highest index plus 1 (modulo 256), which is written back. With
/// a bitmap the platform is told first: if it refuses, IGD_CM_OPERATE_FAIL and nothing is stored.
/// Without one the row has no name, and its queue is numbered as it is itself. IGD_CM_OPERATE_FULL
/// when there are 8.
int32_t igdCmQosAppAttrAdd(IgdQosAppAttrConfTab* request, uint32_t size);
/// Replaces the binding; IGD_CM_OPERATE_FAIL for an unknown application or if the new one is
/// refused, the row staying. An index above 8 is IGD_CM_GLOBAL_INPUT_PARA_ERROR here and in the
/// delete.
int32_t igdCmQosAppAttrSet(IgdQosAppAttrConfTab* request, uint32_t size);
/// Takes the binding back and deletes the row; IGD_CM_OPERATE_FAIL if there is none or either
/// fails.
int32_t igdCmQosAppAttrDel(IgdQosAppAttrConfTab* request, uint32_t size);
/// Fills the request with the row of its index; IGD_CM_OPERATE_FAIL if there is none.
int32_t igdCmQosAppAttrGet(IgdQosAppAttrConfTab* request, uint32_t size);
/// Count, indexes and rows as of the classifications.
int32_t igdCmQosAppEntryNumGet(uint32_t* count, uint32_t size);
int32_t igdCmQosAppGetallIndex(uint32_t* indexes, uint32_t size);
int32_t igdCmQosAppGetallConfigInfo(IgdQosAppAttrConfTab* rows, uint32_t size);
/// Tells the platform of all applications: `action` 1 binds them, 2 takes the bindings back, 3
/// leaves them as they are. The last result, 0 if nothing was sent.
int32_t igdCmQosAppAttrDistribute(uint32_t action);
/// Applies all stored applications; the last one's result.
int32_t igdCmQosAppAttrInit();

/// Appends an item under the lowest free index from 1, which is written back; IGD_CM_OPERATE_FULL
/// when there are 16. Items that are changed while upstream QoS is on are in force at once: the
/// platform is told before the row is stored, and if it refuses, IGD_CM_OPERATE_FAIL is returned.
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR, here and in the set, unless what the row will have of addresses
/// and masks are addresses of one family.
int32_t igdCmQosItemAttrAdd(IgdQosItemAttrConfTab* request, uint32_t size);
/// Changes the selected members; IGD_CM_OPERATE_FAIL for an unknown item or if the platform
/// refuses, the old item staying in force and stored.
int32_t igdCmQosItemAttrSet(IgdQosItemAttrConfTab* request, uint32_t size);
/// Takes the item out of force and deletes the row; IGD_CM_OPERATE_FAIL if there is none or either
/// fails.
int32_t igdCmQosItemAttrDel(IgdQosItemAttrConfTab* request, uint32_t size);
/// Fills the request with the row of its index; IGD_CM_OPERATE_FAIL if there is none.
int32_t igdCmQosItemAttrGet(IgdQosItemAttrConfTab* request, uint32_t size);
int32_t igdCmQosItemEntryNumGet(uint32_t* count, uint32_t size);
/// Puts all items into force (`enable` 1) or takes them back, with the switches for their marks.
/// The last result.
int32_t igdCmQosItemsAttrCtrl(uint32_t enable, uint32_t dscp_mark, uint32_t remark_8021p);
/// The same for one item; the platform's result.
int32_t igdCmQosItemAttrSalSet(const IgdQosItemAttrConfTab& item, uint32_t enable,
                               uint32_t dscp_mark, uint32_t remark_8021p);

// --- Flow limits and interface speeds (upstream/flow_limits.cpp, upstream/interface_speed.cpp)

/// Changes modes and limits; of a direction that is touched, only the texts of the request stay.
/// The text of the effective mode must come with it and not be empty, else
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR as for a mode above 3. The old limits are lifted, the new ones
/// set; if that fails, IGD_CM_OPERATE_FAIL and the row stays.
int32_t igdCmQosFlowLimitAttrSet(IgdQosFlowLimitAttrConfTab* request, uint32_t size);
/// Reads the row; IGD_CM_OPERATE_FAIL if that fails.
int32_t igdCmQosFlowLimitAttrGet(IgdQosFlowLimitAttrConfTab* out, uint32_t size);
/// Applies the stored row; result as of the Set.
int32_t igdCmQosFlowLimitAttrInit();
/// Sets (`action` 1), lifts (2) or sets whether QoS is on or not (3) the limits of a row; the
/// platform's result. What is lifted goes by the stored modes.
int32_t igdCmQosFlowLimitAttrDistribute(const IgdQosFlowLimitAttrConfTab& limits, uint32_t action);

/// Tells the platform of one interface's speeds; its result, or that of the name which it does not
/// know.
int32_t interface_speed_set(const IgdInterfaceSpeedAttrCfgTab& entry);

// --- Downlink (downlink/basic.cpp)

/// As `igdCmQosBasicAttrSet` for the downlink, except that a platform that refuses does not show in
/// the result: the stored row stays. IGD_CM_OPERATE_FAIL if row 0 cannot be read.
int32_t igd_cm_downlink_qos_basic_set(IgdDownlinkQosBasicAttrTab* request, uint32_t size);

// --- Smart profiles (smart/profiles.cpp)

/// Sets the one rate of a direction, platform first; the row is written if it takes it.
/// IGD_CM_OPERATE_FAIL only if the row cannot be read.
int32_t igd_cm_smart_qos_upstream_profile_set(IgdSmartQosProfileTab* request, uint32_t size);
int32_t igd_cm_smart_qos_downstream_profile_set(IgdSmartQosProfileTab* request, uint32_t size);

// --- Start-up (startup/)

/// Plays all of QoS into the platform; always 0.
int32_t igdCmQosModuleInit();

namespace appcfg::qos {

/// Enters the 17 tables into the registry, and behind them those of others that QoS reads.
int32_t register_tables();

/// The bus object `app_qos`.
ubus_object* bus_object();

}  // namespace appcfg::qos
