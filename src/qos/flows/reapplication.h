#pragma once

#include "core/alternating_row.h"
#include "core/log.h"
#include "qos/flows/lookup.h"
#include "qos/flows/steering.h"

namespace appcfg::qos {

/// Which of a type's flows the platform refused.
enum class Refused { Add, Delete, DeleteBeforeAdd, AddAfterDelete };

/// Distributes every type of a direction anew after a change of its basic row: deletes with the old
/// settings, adds with the new, `row` showing those that count at each call. `plan_before` decides,
/// unless the change itself concerns the plan, which flows are steered by priority. Refusals go to
/// `refused(kind, result)` and stop nothing; `none()` is called for every type that an
/// Action::None leaves alone.
template <class Row, class OnRefusal, class OnNone>
void reapply_types(const Direction& direction, Action action, uint32_t plan_before,
                   bool plan_changed, AlternatingRow<Row>& row, const char* operation,
                   OnRefusal refused, OnNone none) {
    const auto tell = [&](const ClfType& type, uint32_t what, Refused kind) {
        const int32_t lRet = distribute(direction, type, what, operation);
        if (lRet != 0) refused(kind, lRet);
    };
    for_each_row(direction.types, [&](const ClfType& type, int32_t) {
        Clf clf{};
        find_classification(direction, type.ucClfIndex, clf);
        Queue queue{};
        find_queue(direction, clf.ucQueueNum, queue);
        Steering steering(direction,
                          !plan_changed && steers_by_priority(direction, plan_before, queue));
        switch (action) {
            case Action::None:
                none();
                break;
            case Action::Add:
                row.show_after();
                tell(type, kAddFlow, Refused::Add);
                break;
            case Action::Delete:
                tell(type, kDeleteFlow, Refused::Delete);
                break;
            case Action::Reapply:
                row.show_before();
                tell(type, kDeleteFlow, Refused::DeleteBeforeAdd);
                row.show_after();
                tell(type, kAddFlow, Refused::AddAfterDelete);
                break;
        }
        steering.lower();
    });
}

}  // namespace appcfg::qos
