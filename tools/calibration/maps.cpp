#include "calibration/maps.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "calibration/library_call.h"
#include "failure.h"

CoordinateMap computeMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio) {
    const Camera camera = mainCameraOf(image);
    if (ratio > camera.width || ratio > camera.height) {
        throw Failure(path,
                      "ratio " + std::to_string(ratio) + " is more than the image of " +
                          std::to_string(camera.width) + " x " + std::to_string(camera.height) +
                          " pixels has",
                      "choose a smaller --ratio");
    }
    MatHandle x;
    MatHandle y;
    const int32_t status = callLibrary([&] {
        const auto build = direction == Direction::undistort ? calcMainCameraUnDistortionB
                                                             : calcMainCameraDistortionB;
        return build(image.data() + CALIBMAP_MAIN_BLOCK, nullptr, ratio, camera.width,
                     camera.height, x.address(), y.address());
    });
    if (status != CALIBMAP_SUCCESS) {
        throw Failure(path,
                      "the library refuses its models or its image size (status " +
                          std::to_string(status) + ")",
                      "see `calibmap info` for both and --verbose for the reason");
    }
    CoordinateMap map{x->rows, x->cols, ratio, {}, {}};
    const std::size_t size = map.index(map.rows, 0);
    map.x.resize(size);
    map.y.resize(size);
    const CamDistortionLUT lut = {map.x.data(), map.y.data(), map.rows, map.cols};
    callLibrary([&] { return extractDistData2CamDistortionLUT(x.get(), y.get(), &lut); });
    return map;
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
            // Written so that a NaN in the map shows in the result.
            result.largest = distance <= result.largest ? result.largest : distance;
            result.mean += distance;
            result.outside += isInside(map, map.x[i], map.y[i]) ? 0 : 1;
        }
    }
    result.mean /= static_cast<double>(map.x.size());
    return result;
}

bool isInside(const CoordinateMap& map, double x, double y) {
    return x >= -0.5 && x <= map.cols - 0.5 && y >= -0.5 && y <= map.rows - 0.5;
}
