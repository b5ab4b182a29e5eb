#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "calibration/image.h"
#include "lens/point.h"

/** The distances between the places to which two maps take the same pixel. */
struct MapDifference {
    double largest;
    Point place; /**< where the largest is, in pixels */
    double rootMeanSquare;
    double median;
    double percentile95;
    double percentile99;
    std::size_t lost; /**< pixels that a map takes to no place at all; no number counts them */
};

/** One row of distances, in pixels; one that no number counts is not a number. */
using VisitRow = std::function<void(int32_t row, const std::vector<float>& distances)>;

/**
 * Compares the maps of one direction of two files with the same image size at every pixel, some
 * rows at a time, so that maps of any size take little memory. Nothing when the library refuses
 * a model. Percentiles are exact to a thousandth of their value.
 */
std::optional<MapDifference> compareMaps(const Image& first, const Image& second,
                                         Direction direction, const VisitRow& visit);
