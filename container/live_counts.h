/**
 * The counts of live containers, and how long computations check that nothing but what they hand
 * back has stayed: by turns. Whoever moves a count, or enters a check, counts a turn when the
 * thread before it was another; and like the reader of a sequence lock a check speaks only where
 * the turns at its end are those of its beginning. docs/security.md has the proof.
 */
#ifndef CALIBMAP_CONTAINER_LIVE_COUNTS_H
#define CALIBMAP_CONTAINER_LIVE_COUNTS_H

#include "calibmap.h"

namespace calibmap {

/** Moves one of the two counts. */
void moveCount(int32_t& count, int32_t by);

/** The counts on entry to a computation. */
struct LiveCounts {
    int32_t vectors;
    int32_t matrices;
    uint32_t turns;
    bool isQuiet;
};

/** The counts now; from here on another thread's update is noticed. */
LiveCounts enterCounts();

/** The counts on leaving, and which of them are wrong. */
struct CountCheck {
    int32_t vectors;
    int32_t matrices;
    bool vectorsMoved;
    bool matricesMoved;
};

/**
 * Compares the counts with those on entry, which `heldVectors` and `heldMatrices` may have been
 * added to. Where another thread may have moved a count, none is said to be wrong.
 */
CountCheck leaveCounts(const LiveCounts& enter, int32_t heldVectors, int32_t heldMatrices);

}  // namespace calibmap

#endif
