#include "container/live_counts.h"

#include <errno.h>

int32_t gMatCnt = 0;
int32_t gTotalVecCnt = 0;

namespace calibmap {

namespace {

/** Every access below is one step in one order that all threads agree on. */
constexpr int ordered = __ATOMIC_SEQ_CST;

uintptr_t lastThread = 0;
uint32_t turnsTaken = 0;
uint32_t updatesUnderWay = 0;

/** A number that no other running thread has. */
uintptr_t thisThread() {
    return reinterpret_cast<uintptr_t>(&errno);
}

/** Notes that this thread comes now, and counts a turn when the one before was another. */
void takeTurn() {
    const uintptr_t self = thisThread();
    if (__atomic_load_n(&lastThread, ordered) != self) {
        __atomic_store_n(&lastThread, self, ordered);
        __atomic_add_fetch(&turnsTaken, 1, ordered);
    }
}

int32_t valueOf(const int32_t& count) {
    return __atomic_load_n(&count, ordered);
}

}  // namespace

void moveCount(int32_t& count, int32_t by) {
    __atomic_add_fetch(&updatesUnderWay, 1, ordered);
    takeTurn();
    __atomic_add_fetch(&count, by, ordered);
    __atomic_sub_fetch(&updatesUnderWay, 1, ordered);
}

LiveCounts enterCounts() {
    takeTurn();
    LiveCounts counts;
    counts.turns = __atomic_load_n(&turnsTaken, ordered);
    counts.isQuiet = __atomic_load_n(&updatesUnderWay, ordered) == 0 &&
                     __atomic_load_n(&lastThread, ordered) == thisThread();
    counts.vectors = valueOf(gTotalVecCnt);
    counts.matrices = valueOf(gMatCnt);
    return counts;
}

CountCheck leaveCounts(const LiveCounts& enter, int32_t heldVectors, int32_t heldMatrices) {
    CountCheck leave;
    leave.vectors = valueOf(gTotalVecCnt);
    leave.matrices = valueOf(gMatCnt);
    const bool isOwn = enter.isQuiet && __atomic_load_n(&turnsTaken, ordered) == enter.turns;
    leave.vectorsMoved = isOwn && leave.vectors != enter.vectors + heldVectors;
    leave.matricesMoved = isOwn && leave.matrices != enter.matrices + heldMatrices;
    return leave;
}

}  // namespace calibmap

int32_t getTotalActiveMat() {
    return __atomic_load_n(&gMatCnt, __ATOMIC_SEQ_CST);
}

int32_t getTotalActiveVectorCnt() {
    return __atomic_load_n(&gTotalVecCnt, __ATOMIC_SEQ_CST);
}
