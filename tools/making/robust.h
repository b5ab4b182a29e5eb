#pragma once

#include <vector>

/** Weights for distances that may hold outliers, in pixels. */

/**
 * The standard deviation of a coordinate, from the median of the distances, which outliers cannot
 * move far. A model with this many degrees of freedom for each coordinate follows its points' noise
 * in part, which is made up for.
 */
double noiseIn(std::vector<double> distances, double freedom);

/** Full weight up to twice the noise, then less in proportion to the distance. */
double huberWeight(double distance, double noise);

/** Tukey's biweight: falls from 1 to 0, which it is from six times the noise on. */
double biweight(double distance, double noise);
