#include "inspection/map.h"

#include <cmath>

#include "inspection/evaluation.h"
#include "inspection/interpolation.h"
#include "inspection/soundness.h"
#include "inspection/text.h"
#include "inspection/verdict.h"

namespace {

/** Samples stand at the centres of what they speak for: their blocks reach half a sample further.
 */
constexpr double halfBlock = 0.5;

}  // namespace

std::optional<Refusal> obstacleToMap(const Image& image, Direction direction, int32_t ratio) {
    if (ratio != 1 && (ratio < 1 || ratio % 2 != 0)) {
        return Refusal{format("ratio %d is neither 1 nor a positive even number", ratio),
                       "choose one that is"};
    }
    const Camera camera = mainCameraOf(image);
    if (camera.width < 1 || camera.height < 1) {
        return Refusal{
            format("the image size of the main camera is %d x %d", camera.width, camera.height),
            calibrateAgain};
    }
    if (const std::vector<std::string> numbers = numbersNotFinite(image, direction);
        !numbers.empty()) {
        return Refusal{numbers.front() + ", so that no map can be right", calibrateAgain};
    }
    // Every ratio leads to a refusal, so that none can be recommended.
    if (smallestRatioOf(camera) == 0) {
        return Refusal{sizeFault(camera, ratio), calibrateAgain};
    }
    if (ratio > camera.width || ratio > camera.height) {
        return Refusal{format("ratio %d is more than the image of %d x %d pixels has", ratio,
                              camera.width, camera.height),
                       "choose a smaller ratio"};
    }
    return std::nullopt;
}

Refusal refusalOfMap(const Image& image, Direction direction, int32_t ratio, int32_t status) {
    const std::vector<std::string> faults = modelFaults(image, direction);
    if (!faults.empty()) {
        return {format("%s (status %d)", faults.front().c_str(), status), calibrateAgain};
    }
    const Camera camera = mainCameraOf(image);
    if (const std::string fault = sizeFault(camera, ratio); !fault.empty()) {
        return {format("%s (status %d)", fault.c_str(), status),
                format("maps can be made of it from ratio %d on", smallestRatioOf(camera))};
    }
    // What works for one sample and not for all of them lacks memory.
    if (Evaluation(image, direction).at({0, 0})) {
        return {format("there is not enough memory for a map of %d x %d pixels with ratio %d",
                       camera.width, camera.height, ratio),
                "free some or choose a larger ratio"};
    }
    return {format("the library refuses its models (status %d)", status),
            "see the library's own words"};
}

double pixelOfSample(const CoordinateMap& map, double sample) {
    return sample * map.ratio + (map.ratio - 1) * 0.5;
}

Point mapped(const CoordinateMap& map, Point pixel) {
    const double middle = pixelOfSample(map, 0);
    const auto moved = [&](const std::vector<float>& values, bool alongX) {
        const auto displacement = [&](int row, int col) {
            return static_cast<double>(values[map.index(row, col)]) - (alongX ? col : row);
        };
        return map.ratio * interpolated(map.rows, map.cols, (pixel.x - middle) / map.ratio,
                                        (pixel.y - middle) / map.ratio, displacement, halfBlock);
    };
    return {pixel.x + moved(map.x, true), pixel.y + moved(map.y, false)};
}

Mapping mappingOf(const CoordinateMap& map) {
    return [&map](Point pixel) { return mapped(map, pixel); };
}

double displacementAt(const CoordinateMap& map, int32_t row, int32_t col) {
    const std::size_t i = map.index(row, col);
    return map.ratio *
           std::hypot(static_cast<double>(map.x[i]) - col, static_cast<double>(map.y[i]) - row);
}

bool isInside(const CoordinateMap& map, double x, double y) {
    return x >= -0.5 && x <= map.cols - 0.5 && y >= -0.5 && y <= map.rows - 0.5;
}

Displacement displacementOf(const CoordinateMap& map, const Reached& reached) {
    Distances distances;
    std::size_t outside = 0;
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const double distance = displacementAt(map, row, col);
            add(distances, distance, {pixelOfSample(map, col), pixelOfSample(map, row)});
            outside += std::isfinite(distance) && !isInside(map, map.x[i], map.y[i]) ? 1 : 0;
        }
        if (reached) {
            reached(static_cast<double>(row) / map.rows);
        }
    }
    return {statisticsOf(distances), outside};
}

std::string sentenceOf(const CoordinateMap& map, const Displacement& displacement) {
    const Statistics& moved = displacement.moved;
    const std::string size = format("%d rows x %d columns, ", map.rows, map.cols);
    if (moved.count == 0) {
        return size + "every sample taken to no place at all";
    }
    return size +
           format(
               "displacement at most %s at (%g, %g) and on average %s pixels, %zu of %zu "
               "samples taken outside the image",
               decimal(moved.largest, 3).c_str(), moved.place.x, moved.place.y,
               decimal(moved.mean, 3).c_str(), displacement.outside, map.x.size()) +
           (moved.lost > 0 ? format(", %zu taken to no place at all", moved.lost) : "");
}
