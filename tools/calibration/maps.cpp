#include "calibration/maps.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "calibration/evaluation.h"
#include "calibration/library_call.h"
#include "calibration/soundness.h"
#include "failure.h"
#include "input.h"
#include "progress.h"
#include "text.h"

namespace {

/** Why the library has made no map. */
Refusal refusalOf(const Image& image, Direction direction, int32_t ratio, int32_t status) {
    const std::vector<std::string> faults = modelFaults(image, direction);
    if (!faults.empty()) {
        return {format("%s (status %d)", faults.front().c_str(), status),
                "have the device calibrated again"};
    }
    const Camera camera = mainCameraOf(image);
    if (const std::string fault = sizeFault(camera, ratio); !fault.empty()) {
        return {format("%s (status %d)", fault.c_str(), status),
                format("maps can be made of it from --ratio %d on", smallestRatioOf(camera))};
    }
    // What works for one sample and not for all of them lacks memory.
    if (Evaluation(image, direction).at({0, 0})) {
        throw std::bad_alloc();
    }
    return {format("the library refuses its models (status %d)", status),
            "see the reason with --verbose"};
}

/** Has the library make both matrices of a map. */
std::optional<Refusal> buildMap(const Image& image, Direction direction, int32_t ratio,
                                MatHandle& x, MatHandle& y) {
    const Camera camera = mainCameraOf(image);
    if (camera.width < 1 || camera.height < 1) {
        return Refusal{
            format("the image size of the main camera is %d x %d", camera.width, camera.height),
            "have the device calibrated again"};
    }
    if (const std::vector<std::string> numbers = numbersNotFinite(image, direction);
        !numbers.empty()) {
        return Refusal{numbers.front() + ", so that no map can be right",
                       "have the device calibrated again"};
    }
    // Every ratio leads to a refusal, so that none can be recommended.
    if (smallestRatioOf(camera) == 0) {
        return Refusal{sizeFault(camera, ratio), "have the device calibrated again"};
    }
    if (ratio > camera.width || ratio > camera.height) {
        return Refusal{format("ratio %d is more than the image of %d x %d pixels has", ratio,
                              camera.width, camera.height),
                       "choose a smaller --ratio"};
    }
    const Progress progress("computing the " + nameOf(direction) + " map");
    const int32_t status = callLibrary([&] {
        const auto build = direction == Direction::undistort ? calcMainCameraUnDistortionB
                                                             : calcMainCameraDistortionB;
        return build(image.data() + CALIBMAP_MAIN_BLOCK, nullptr, ratio, camera.width,
                     camera.height, x.address(), y.address());
    });
    return status == CALIBMAP_SUCCESS ? std::nullopt
                                      : std::optional(refusalOf(image, direction, ratio, status));
}

}  // namespace

std::optional<Refusal> refusalOfMap(const Image& image, Direction direction) {
    MatHandle x;
    MatHandle y;
    return buildMap(image, direction, 1, x, y);
}

CoordinateMap computeMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio) {
    MatHandle x;
    MatHandle y;
    if (const auto refusal = buildMap(image, direction, ratio, x, y)) {
        throw Failure(inputName(path), refusal->reason, refusal->remedy);
    }
    CoordinateMap map{x->rows, x->cols, ratio, {}, {}};
    const std::size_t size = map.index(map.rows, 0);
    map.x.resize(size);
    map.y.resize(size);
    const CamDistortionLUT lut = {map.x.data(), map.y.data(), map.rows, map.cols};
    callLibrary([&] { return extractDistData2CamDistortionLUT(x.get(), y.get(), &lut); });
    // Such as a negative focal length, over which the library computes a map all the same.
    for (const std::string& fault : modelFaults(image, direction)) {
        warn(inputName(path), fault + ", so that the map means nothing");
    }
    mentionUncovered(path, image, direction);
    return map;
}

double pixelOfSample(const CoordinateMap& map, double sample) {
    return sample * map.ratio + (map.ratio - 1) * 0.5;
}

double displacementAt(const CoordinateMap& map, int32_t row, int32_t col) {
    const std::size_t i = map.index(row, col);
    return map.ratio *
           std::hypot(static_cast<double>(map.x[i]) - col, static_cast<double>(map.y[i]) - row);
}

Displacement displacementOf(const CoordinateMap& map) {
    Displacement result{};
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const double distance = displacementAt(map, row, col);
            if (!std::isfinite(distance)) {
                ++result.lost;
                continue;
            }
            if (distance > result.largest || i == 0) {
                result.largest = distance;
                result.place = {pixelOfSample(map, col), pixelOfSample(map, row)};
            }
            result.mean += distance;
            result.outside += isInside(map, map.x[i], map.y[i]) ? 0 : 1;
        }
    }
    result.mean /= static_cast<double>(std::max<std::size_t>(map.x.size() - result.lost, 1));
    return result;
}

bool isInside(const CoordinateMap& map, double x, double y) {
    return x >= -0.5 && x <= map.cols - 0.5 && y >= -0.5 && y <= map.rows - 0.5;
}
