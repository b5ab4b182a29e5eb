#include "calib/stack.h"

#include "calibmap.h"

namespace calibmap {

namespace {

constexpr int32_t stepSize = 2048;

/** An image, and two steps for what else a function keeps and calls. */
constexpr int32_t stepsForImage = CALIBMAP_FILE_SIZE / stepSize + 2;

[[gnu::noinline]] void touchStack(int32_t steps) {
    volatile uint8_t step[stepSize];
    step[0] = 0;
    if (steps > 1) {
        touchStack(steps - 1);
    }
    (void)step[0];  // a use after the call: this frame stays while the next one is touched
}

}  // namespace

void touchStackForImage() {
    touchStack(stepsForImage);
}

}  // namespace calibmap
