#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "interpolation.h"
#include "maps.h"
#include "picture.h"

namespace {

Picture applied(const CoordinateMap& map, const Picture& source, Border border) {
    Picture result = makePicture(source.width, source.height, source.channels, source.bits);
    const int white = (1 << source.bits) - 1;
    const int outside = border == Border::black ? 0 : border == Border::white ? white : white / 2;
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const bool recorded = isInside(map, map.x[i], map.y[i]) ||
                                  (border == Border::edge && !std::isnan(map.x[i] + map.y[i]));
            for (std::size_t channel = 0; channel < static_cast<std::size_t>(source.channels);
                 ++channel) {
                const auto sample = [&source, channel](int32_t r, int32_t c) {
                    return static_cast<double>(source.samples[source.index(r, c) + channel]);
                };
                const double value =
                    recorded ? interpolated(map.rows, map.cols, map.x[i], map.y[i], sample)
                             : outside;
                result.samples[result.index(row, col) + channel] =
                    static_cast<uint16_t>(std::lround(value));
            }
        }
    }
    return result;
}

}  // namespace

int runRemap(const RemapOptions& options) {
    const Image image = loadCalibration(options.file);
    const CoordinateMap map = computeMap(options.file, image, options.direction, 1);
    const Picture source = readPng(options.input, map.cols, map.rows);
    writePng(options.output, applied(map, source, options.border));
    return exitGood;
}
