#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "inspection/point.h"

/** Many distances in pixels, in a few numbers; zeros where there are none. */
struct Statistics {
    double largest;
    Point place; /**< where the largest stands, in pixels */
    double mean;
    double rootMeanSquare;
    double median; /**< the percentiles are exact to a thousandth of their value */
    double percentile95;
    double percentile99;
    std::size_t count; /**< distances that the numbers above count */
    std::size_t lost;  /**< those that are no finite number */
};

/** Distances that are collected one by one, in memory that does not grow with their number. */
struct Distances {
    Distances();
    std::vector<std::size_t> histogram; /**< how often the distances of each interval occur */
    double sum = 0;
    double squares = 0;
    double largest = 0;
    Point place = {0, 0};
    std::size_t count = 0;
    std::size_t lost = 0;
};

/** Takes in a distance and the pixel where it stands. */
void add(Distances& distances, double distance, Point place);

/** What has been collected. */
Statistics statisticsOf(const Distances& distances);
