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
/// unless the change itself concerns the plan, which flows are steered by priority. `report` is
/// told, for the log, of every type's queue and steering (`queue`), of refusals, which stop nothing
/// (`refused`), and of every type that an Action::None leaves alone (`nothing`).
template <class Row, class Report>
void reapply_types(const Direction& direction, Action action, uint32_t plan_before,
                   bool plan_changed, AlternatingRow<Row>& row, const char* operation,
                   const Report& report) {
    const auto tell = [&](const ClfType& type, uint32_t what, Refused kind) {
        const int32_t lRet = distribute(direction, type, what, operation);
        if (lRet != 0) report.refused(kind, lRet);
    };
    for_each_row(direction.types, [&](const ClfType& type, int32_t) {
        Clf clf{};
        find_classification(direction, type.ucClfIndex, clf);
        Queue queue{};
        find_queue(direction, clf.ucQueueNum, queue);
        const bool by_priority = !plan_changed && steers_by_priority(direction, plan_before, queue);
        Steering steering(direction, by_priority);
        report.queue(queue, by_priority);
        switch (action) {
            case Action::None:
                report.nothing();
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
