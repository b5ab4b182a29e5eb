#include "making/robust.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

/** Measured points are never better than this, in pixels. */
constexpr double leastNoise = 1e-3;

}  // namespace

double noiseIn(std::vector<double> distances, double freedom) {
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    constexpr double medianOfRayleigh = 1.17741;
    const double spare = 1 - freedom / static_cast<double>(distances.size());
    return std::max(*middle / medianOfRayleigh / std::sqrt(std::max(spare, 0.1)), leastNoise);
}

double huberWeight(double distance, double noise) {
    return std::min(1.0, 2 * noise / std::max(distance, leastNoise));
}

double biweight(double distance, double noise) {
    constexpr double reach = 6;
    const double t = distance / (reach * noise);
    return t < 1 ? (1 - t * t) * (1 - t * t) : 0;
}
