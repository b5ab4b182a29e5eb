#pragma once

#include <cstddef>
#include <vector>

#include "inspection/image.h"
#include "making/fit.h"
#include "making/point_pairs.h"

/** A part of an image, in pixels, and how many points lie in it. */
struct Patch {
    double left;
    double top;
    double right;
    double bottom;
    std::size_t points;
};

/** Models that were fitted to measured pairs of points. */
struct PointFit {
    ModelPair models;
    std::vector<std::size_t> used;    /**< which pairs the models follow */
    std::vector<std::size_t> leftOut; /**< which they do not, being too far from all others */
    double noise;                     /**< pixels: standard deviation of a recorded coordinate */
    std::vector<Patch> recorded;      /**< the recorded image in 6 x 4 parts, row by row */
};

/**
 * Fits the models of both directions to pairs, as far as they were recorded within the image.
 *
 * What takes straight points to recorded ones is fitted as the sum of two parts: a lens polynomial
 * (offset, affine, radial and tangential terms), of as many terms as the points support, and a thin
 * plate for what the polynomial leaves, whose stiffness is chosen by cross-validation. So it
 * follows the points where there are some and goes on as a lens does where there are none. Points
 * that are far from it lose their weight step by step, and in the end altogether (Tukey's biweight;
 * P. Huber, "Robust Statistics", 1981). The other direction is its inverse: most of the noise is in
 * the recorded points, and the two undo each other.
 *
 * Throws a `Failure` when no pair was recorded within the image.
 */
PointFit fitPoints(const Camera& camera, const std::vector<PointPair>& pairs);
