#pragma once

#include <cstddef>

#include "calibration/image.h"
#include "lens/point.h"

/** How far the two models are from undoing each other. */
struct RoundTrip {
    double largest;       /**< pixels between a position and where both models lead from there */
    Point place;          /**< where that is, in pixels */
    Direction first;      /**< the model that is applied first there */
    std::size_t compared; /**< positions whose way leads through the image */
};

/**
 * Goes both ways, there and back again, from positions spread over the image and its border; a way
 * that leads out of the image says nothing, because the model of the way back ends there. Both
 * models have to be sound.
 */
RoundTrip roundTripOf(const Image& image);
