#include "inspection/geometry.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "inspection/interpolation.h"
#include "inspection/text.h"

namespace {

/** Samples stand at the centres of what they speak for: their blocks reach half a sample further.
 */
constexpr double halfBlock = 0.5;

/** How far computing in single precision may move a pixel that no lens moves. */
double roundingOf(const Camera& camera) {
    const double reach =
        std::max({static_cast<double>(camera.width), static_cast<double>(camera.height),
                  std::abs(camera.cx), std::abs(camera.cy)});
    return std::ldexp(reach, -21);
}

}  // namespace

PixelValues displacementsOf(const CoordinateMap& map) {
    PixelValues values{};
    values.nodes = {map.rows, map.cols, {}};
    values.first = pixelOfSample(map, 0);
    values.step = map.ratio;
    values.covered = {static_cast<double>(map.cols) * map.ratio,
                      static_cast<double>(map.rows) * map.ratio};
    values.nodes.values.reserve(map.x.size());
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const double value = displacementAt(map, row, col);
            values.nodes.values.push_back(value);
            if (std::isfinite(value) && value > values.largest) {
                values.largest = value;
                values.place = {pixelOfSample(map, col), pixelOfSample(map, row)};
            }
        }
    }
    return values;
}

double valueAt(const PixelValues& values, Point pixel) {
    return std::max(
        0.0, interpolated(
                 values.nodes.rows, values.nodes.cols, (pixel.x - values.first) / values.step,
                 (pixel.y - values.first) / values.step,
                 [&](int row, int col) { return values.nodes.at(row, col); }, halfBlock));
}

Figure layOut(PixelValues values, const Camera& camera, int32_t width) {
    Figure figure{};
    figure.imageWidth = camera.width;
    figure.imageHeight = camera.height;
    figure.values = std::move(values);
    figure.largest = figure.values.largest > roundingOf(camera) ? figure.values.largest : 0;
    figure.scale = width / 900.0;
    const double s = figure.scale;
    // The plot covers whole pixels of the canvas, which makes its edges sharp.
    figure.plot.left = std::round(74 * s);
    const double mostWidth = width - figure.plot.left - 122 * s;
    const double mostHeight = 900 * s;
    constexpr double mostSlender = 12;
    const double proportion = static_cast<double>(camera.height) / camera.width;
    const double drawn = std::clamp(proportion, 1 / mostSlender, mostSlender);
    figure.stretch = drawn / proportion;
    figure.plot.top = std::round((proportion == drawn ? 100 : 119) * s);
    figure.plot.width = std::round(std::min(mostWidth, mostHeight / drawn));
    figure.plot.height = std::round(figure.plot.width * drawn);
    figure.width = width;
    figure.height = static_cast<int>(
        std::ceil(figure.plot.top + std::max(figure.plot.height, 160 * s) + 92 * s));
    return figure;
}

double roundStep(double range, double parts) {
    const double raw = range / parts;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= raw * 0.999) {
            return factor * power;
        }
    }
    return 10 * power;
}

double contourStep(const Figure& figure) {
    return roundStep(figure.largest, 10);
}

std::string numberText(double value, double step) {
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    return format("%.*f", decimals, value);
}
