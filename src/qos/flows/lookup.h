#pragma once

#include "core/rows.h"
#include "qos/flows/direction.h"

// Which rows of a direction belong together. Where no row matches, the one that was read last is
// used as it stands: the position tells.

namespace appcfg::qos {

inline int32_t find_classification(const Direction& direction, uint8_t index, Clf& clf) {
    return find_index(direction.classifications, clf, &Clf::ucClfIndex, index);
}

/// The first classification of a queue.
inline int32_t find_classification_of_queue(const Direction& direction, uint8_t queue, Clf& clf) {
    return find_index(direction.classifications, clf, &Clf::ucQueueNum, queue);
}

inline int32_t find_queue(const Direction& direction, uint8_t index, Queue& queue) {
    return find_index(direction.queues, queue, &Queue::ucQueueIndex, index);
}

/// The queue of a classification that is stored.
inline Queue queue_of_classification(const Direction& direction, uint8_t index) {
    Clf clf{};
    find_classification(direction, index, clf);
    Queue queue{};
    find_queue(direction, clf.ucQueueNum, queue);
    return queue;
}

inline int32_t find_type(const Direction& direction, uint8_t clf, uint8_t index, ClfType& type) {
    return find_row(direction.types, type, [=](const ClfType& row) {
        return row.ucClfIndex == clf && row.ucTypeIndex == index;
    });
}

/// Calls `each(type, position)` for every type of a classification, in row order, until it returns
/// something else than 0, which is returned.
template <class Each>
int32_t for_each_type_of(const Direction& direction, uint8_t clf, Each each) {
    int32_t result = 0;
    ClfType type{};
    walk_rows(direction.types, type, [&](ClfType& row, int32_t position) {
        if (row.ucClfIndex == clf) result = each(row, position);
        return result != 0;
    });
    return result;
}

}  // namespace appcfg::qos
