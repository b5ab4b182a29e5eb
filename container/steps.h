/**
 * Steps of a computation whose elements are never in memory. Each still asks the heap for a record
 * and counts as live, so that an exhausted heap is reported under the name of the step that it
 * strikes.
 */
#ifndef CALIBMAP_CONTAINER_STEPS_H
#define CALIBMAP_CONTAINER_STEPS_H

#include "container/protocol.h"

namespace calibmap {

/** What stands for a step, and the count that it is in. */
struct StandIn {
    void* record;
    int32_t* liveCount;
};

/** The stand-ins of one computation, in the order of their creation; `spcol` has most. */
struct StandIns {
    StandIn made[18];
    int32_t count;
};

/** Adds what stands for a container of `bytes` bytes; false where it would have been refused. */
inline bool add(StandIns& steps, int32_t& liveCount, int64_t bytes) {
    void* record = withinLimit(bytes, 1) ? requestBlock(sizeof(Mat)) : nullptr;
    if (record == nullptr) {
        return false;
    }
    steps.made[steps.count++] = {record, &liveCount};
    moveCount(liveCount, 1);
    return true;
}

/** Releases all of them. */
inline void release(StandIns& steps) {
    for (int32_t i = 0; i < steps.count; ++i) {
        free(steps.made[i].record);
        moveCount(*steps.made[i].liveCount, -1);
    }
    steps.count = 0;
}

}  // namespace calibmap

#endif
