#include "inspection/statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace {

// A positive float's upper bits, read as a number, order it among the others; eleven of its
// mantissa tell it from others that are a two-thousandth away.
constexpr int shift = 12;
constexpr uint32_t middle = 1U << (shift - 1);
constexpr std::size_t intervals = std::size_t{1} << (31 - shift);

/** The distance that this share of all does not exceed. */
double percentile(const Distances& distances, double share) {
    const auto rank =
        static_cast<std::size_t>(std::ceil(share * static_cast<double>(distances.count)));
    std::size_t seen = 0;
    for (uint32_t i = 0; i < intervals; ++i) {
        seen += distances.histogram[i];
        if (seen >= rank && seen > 0) {
            // Nothing but zeros belongs to the first interval.
            const auto inside = std::bit_cast<float>(i << shift | middle);
            return i == 0 ? 0 : std::min(static_cast<double>(inside), distances.largest);
        }
    }
    return 0;
}

}  // namespace

Distances::Distances() : histogram(intervals) {}

void add(Distances& distances, double distance, Point place) {
    if (!std::isfinite(distance)) {
        ++distances.lost;
        return;
    }
    // What is more than a float holds counts as the largest that it does.
    const float rounded = std::min(static_cast<float>(distance), std::bit_cast<float>(0x7F7FFFFFU));
    ++distances.histogram[std::bit_cast<uint32_t>(rounded) >> shift];
    if (distances.count++ == 0 || distance > distances.largest) {
        distances.largest = distance;
        distances.place = place;
    }
    distances.sum += distance;
    distances.squares += distance * distance;
}

Statistics statisticsOf(const Distances& distances) {
    const auto count = static_cast<double>(std::max<std::size_t>(distances.count, 1));
    return {.largest = distances.largest,
            .place = distances.place,
            .mean = distances.sum / count,
            .rootMeanSquare = std::sqrt(distances.squares / count),
            .median = percentile(distances, 0.5),
            .percentile95 = percentile(distances, 0.95),
            .percentile99 = percentile(distances, 0.99),
            .count = distances.count,
            .lost = distances.lost};
}
