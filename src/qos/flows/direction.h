#pragma once

#include <cstdint>

#include "qos/qos_records.h"

// Upstream and downlink classify traffic, queue it and mark it alike. What differs between them is
// data: their tables, what they remember, how the platform tells them apart.

namespace appcfg::qos {

/// What a direction remembers between the steps of a change, and until the queues have followed a
/// change of plan.
struct FlowState {
    /// 1 while flows are distributed that are steered by their queue's priority, not its number.
    uint32_t remark_priority_flag;
    /// 1 from a change of plan until the queues have been applied anew.
    uint32_t plan_change_flag;
    uint32_t plan_old;
    uint32_t plan_new;
    uint32_t basic_init_flag;  ///< 1 while the stored basic row is applied
    uint32_t queue_init_flag;  ///< 1 while the stored queues are applied
    /// Greatest common divisor by which weights were last reduced.
    uint32_t queue_common_divisor;
};

/// What classifications and queues need to know of a direction's basic row.
struct Settings {
    uint32_t enabled;
    uint32_t plan;
    uint32_t dscp_mark;
    uint32_t tc_mark;
    uint32_t mark_8021p;
};

struct Direction {
    const TableOf<Clf>& classifications;
    const TableOf<ClfType>& types;
    const TableOf<Queue>& queues;
    FlowState& state;
    /// Reads the direction's basic row as it stands; false if it cannot be read.
    bool (*read_settings)(Settings& settings);
    /// Applies one queue: what a change of plan calls for.
    int32_t (*set_queue)(Queue* request, uint32_t size);
    uint32_t queue_port;  ///< `ui_port` of its queue records
    uint32_t flow_code;   ///< `em_direction` of its flow records
    /// In whose name the log tells of a flow that is distributed, and of one that follows its
    /// queue.
    const char* distribution;
    const char* remarking;
};

/// The upstream remembers in `g_ui`, the downlink in `g_downlink`.
extern FlowState g_ui;
extern FlowState g_downlink;

extern const Direction upstream;
extern const Direction downlink;

/// What a basic row that changes from `before` to `after` asks of everything that depends on it.
enum class Action : uint32_t { None = 0, Add = 1, Delete = 2, Reapply = 3 };
Action action_between(uint32_t before, uint32_t after);

}  // namespace appcfg::qos
