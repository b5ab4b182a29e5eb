// What `calibmap draw` strokes of a file, as bytes for the page's reader: drawing_record FILE
// DIRECTION WIDTH.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "inspection/drawing.h"
#include "inspection/figure.h"
#include "inspection/pixel_values.h"
#include "web/library/answer.h"

int main(int /*argc*/, char** argv) try {
    Image image{};
    const auto direction =
        std::strcmp(argv[2], "undistort") == 0 ? Direction::undistort : Direction::distort;
    readCalibrationDataC(argv[1], image.data());
    const Camera camera = mainCameraOf(image);
    CoordinateMap map{camera.height, camera.width, 1, {}, {}};
    map.x.resize(map.index(map.rows, 0));
    map.y.resize(map.x.size());
    const CamDistortionLUT lut = {map.x.data(), map.y.data(), map.rows, map.cols};
    if (doDistortionProcess(
            argv[1],
            direction == Direction::undistort ? CALIBMAP_UNDISTORTION : CALIBMAP_DISTORTION, 1,
            nullptr, &lut) != CALIBMAP_SUCCESS) {
        return 1;
    }
    const int32_t width = std::atoi(argv[3]);
    const PixelValues values = displacementsOf(map, displacementOf(map).moved, width);
    Figure figure = figureOf(layOut(camera, width, 1), camera, values, mappingOf(map),
                             wordingOf(map, camera, direction, "lens.bin"));
    Answer answer;
    answer.put(drawingOf(std::move(figure)));
    std::fwrite(answer.bytes.data(), 1, answer.bytes.size(), stdout);
    return 0;
} catch (...) {
    return 1;
}
