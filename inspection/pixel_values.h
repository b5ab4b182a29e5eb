#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "inspection/contour.h"
#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/point.h"
#include "inspection/statistics.h"

/** How far from its axis, in degrees, a lens was known when the model of this direction was fitted.
 */
struct FittedView {
    Direction direction;
    double angle;
};

/**
 * Values at evenly spaced pixels of an image, row by row: column i and row i stand at
 * `first + step * i`.
 */
struct PixelValues {
    NodeValues nodes;
    double first;
    double step;
    Point covered;  /**< columns and rows of the image that they speak for, from its first on */
    double largest; /**< of all the picture speaks of; not a number where none of them is one */
    Point place;    /**< where it is, in pixels */
    double top = 0; /**< what the lightest colour stands for, and all above it; 0 is the largest */
    std::optional<FittedView> fitted = {}; /**< of the model, unless it is all that is shown */
};

/**
 * How far a map moves its samples, in pixels, `moved` being all of them in numbers. Of maps with
 * many more samples than a picture of this width has dots, every so many.
 */
PixelValues displacementsOf(const CoordinateMap& map, const Statistics& moved, int32_t width);

/**
 * Values for the distances between two maps of this camera, for a picture of this width: to be
 * filled by `addRow`, and in the end by `setLargest`.
 */
PixelValues valuesForDifference(const Camera& camera, int32_t width);

/** Takes what is needed of one row of distances, one for each pixel. */
void addRow(PixelValues& values, int32_t row, const std::vector<float>& distances);

/** Tells the values of all that they are a part of. */
void setLargest(PixelValues& values, const Statistics& all);

/** The value at any pixel, interpolated, and continued to the border of what is covered. */
double valueAt(const PixelValues& values, Point pixel);
