#include "maps.h"

#include <optional>

#include "diagnostics.h"
#include "failure.h"
#include "input.h"
#include "inspection/mat_handle.h"
#include "inspection/soundness.h"
#include "progress.h"

namespace {

[[noreturn]] void refuse(const std::string& path, const Refusal& refusal) {
    throw Failure(inputName(path), refusal.reason, refusal.remedy);
}

}  // namespace

CoordinateMap computeMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio) {
    const DiagnosticCapture capture;
    refuseImpossibleMap(path, image, direction, ratio);
    const Camera camera = mainCameraOf(image);
    const Progress progress("computing the " + nameOf(direction) + " map");
    const auto build =
        direction == Direction::undistort ? calcMainCameraUnDistortionB : calcMainCameraDistortionB;
    MatHandle x;
    MatHandle y;
    const int32_t status = build(image.data() + CALIBMAP_MAIN_BLOCK, nullptr, ratio, camera.width,
                                 camera.height, x.address(), y.address());
    if (status != CALIBMAP_SUCCESS) {
        refuseMap(path, image, direction, ratio, status);
    }
    CoordinateMap map{x->rows, x->cols, ratio, {}, {}};
    const std::size_t size = map.index(map.rows, 0);
    map.x.resize(size);
    map.y.resize(size);
    const CamDistortionLUT lut = {map.x.data(), map.y.data(), map.rows, map.cols};
    extractDistData2CamDistortionLUT(x.get(), y.get(), &lut);
    warnOfMap(path, image, direction);
    return map;
}

void refuseImpossibleMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio) {
    if (const std::optional<Refusal> obstacle = obstacleToMap(image, direction, ratio)) {
        refuse(path, *obstacle);
    }
}

void refuseMap(const std::string& path, const Image& image, Direction direction, int32_t ratio,
               int32_t status) {
    refuse(path, refusalOfMap(image, direction, ratio, status));
}

void warnOfMap(const std::string& path, const Image& image, Direction direction) {
    // Such as a negative focal length, over which the library computes a map all the same.
    for (const std::string& fault : modelFaults(image, direction)) {
        warn(inputName(path), fault + ", so that the map means nothing");
    }
    mentionUncovered(path, image, direction);
}

void mentionUncovered(const std::string& path, const Image& image, Direction direction) {
    if (const std::string parts = uncoveredParts(image, direction); !parts.empty()) {
        warn(inputName(path), parts + "; the library puts what lies there on the principal point");
    }
}
