#pragma once

#include "qos/flows/distribution.h"

namespace appcfg::qos {

/// Raises the remark flag of a direction if flows of a queue are steered by its priority, which the
/// distribution of flows then honours. Lowering it again is the operation's business: one that
/// fails half-way may leave it raised.
class Steering {
  public:
    Steering(const Direction& direction, bool by_priority)
        : state_(direction.state), by_priority_(by_priority) {
        if (by_priority_) state_.remark_priority_flag = 1;
    }

    void lower() {
        if (by_priority_) state_.remark_priority_flag = 0;
    }

  private:
    FlowState& state_;
    const bool by_priority_;
};

}  // namespace appcfg::qos
