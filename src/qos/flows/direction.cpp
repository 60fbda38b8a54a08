#include "qos/flows/direction.h"

namespace appcfg::qos {

Action action_between(uint32_t before, uint32_t after) {
    if (before == after) return after == 1 ? Action::Reapply : Action::None;
    return after != 0 ? Action::Add : Action::Delete;
}

}  // namespace appcfg::qos
