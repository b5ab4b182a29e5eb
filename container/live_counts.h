/**
 * The counts of live containers: how they are moved, and how long computations check that nothing
 * but what they hand back has stayed.
 *
 * Any thread may move the counts at any time, so a check compares them as ever but speaks only when
 * no other thread can have moved them meanwhile:
 *
 * - Whoever enters a check or begins an update notes its thread, and counts a turn when the thread
 *   noted before was another.
 * - A check is quiet on entry when, after it has read the number of turns, no update is under way
 *   and its own thread is still the one noted. Updates before that are then complete and in the
 *   counts it reads; whatever another thread begins after it finds a thread noted that is not its
 *   own, or has found one since, and counts a turn before it moves a count.
 * - On leaving, the counts are read before the number of turns. Equal numbers mean that no other
 *   thread's update is in them.
 *
 * There is no lock here, which a fork could leave held, nothing thread-local, which a loader or an
 * exhausted heap could refuse, and no allocation. After a fork in the midst of another thread's
 * update the child's checks stay silent.
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
