/**
 * The live-object counters as long computations use them: read on entry, compared on exit.
 */
#ifndef CALIBMAP_CONTAINER_LIVE_COUNTS_H
#define CALIBMAP_CONTAINER_LIVE_COUNTS_H

#include "calibmap.h"

struct LiveCounts {
    int32_t vectors;
    int32_t matrices;
};

/** The counters now. Not shared: a program may link the library statically and use the name itself.
 */
static inline LiveCounts liveCounts() {
    return {getTotalActiveVectorCnt(), getTotalActiveMat()};
}

#endif
