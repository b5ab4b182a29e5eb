#pragma once

#include <vector>

#include "making/spline.h"

/** The values, in pixels, that a model is to take at the nodes of a grid of sites. */
struct GridValues {
    std::vector<double> u; /**< sites along x, in normalised image coordinates, ascending */
    std::vector<double> v;
    std::vector<Point> values; /**< one for each node, row by row */
};

/**
 * Moves the inner break points to where the least squares model over the grid errs least at its
 * worst node, starting from `breaks`. The same input gives the same break points.
 *
 * The largest error has edges and many local minima as a function of the break points, so the
 * search minimises means of rising powers of the errors instead, first of squares, each from where
 * the last has ended. It goes coordinate by coordinate, with steps that are halved when none helps.
 */
Breaks placeBreaks(const Breaks& breaks, const GridValues& target);
