#pragma once

#include "qos/flows/direction.h"

// The operations on the queues of one direction; what they do and return is told with the
// upstream's in qos/qos.h. They log in the name of `operation`.

namespace appcfg::qos {

int32_t set_queue(const Direction& direction, const Queue& request, const char* operation);

/// Applies all stored queues; `count_name` is how the log calls their number. Always 0.
int32_t init_queues(const Direction& direction, const char* count_name, const char* operation);

/// Applies the queues that are on, as a change of plan calls for it, and notes that it was done.
void follow_plan_change(const Direction& direction);

/// What a queue's flows have to go through when the queue changes.
enum class Remark : uint32_t {
    Enabled = 0,   ///< deleted as they were, added steered by priority
    Disabled = 1,  ///< deleted as steered by priority, added by number
    Changed = 2,   ///< deleted and added, both steered by priority
};

/// Takes one type's flow through it; the queue's row is stored in between. Result of the add.
int32_t remark_flow(const Direction& direction, const Queue& row, int32_t position,
                    const ClfType& type, Remark how, const char* operation);

}  // namespace appcfg::qos
