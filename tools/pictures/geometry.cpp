#include "pictures/geometry.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "pictures/interpolation.h"
#include "text.h"

Figure layOut(const CoordinateMap& map, const Camera& camera, int32_t width) {
    Figure figure{};
    figure.map = &map;
    figure.camera = camera;
    figure.displacement = {map.rows, map.cols, {}};
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            figure.displacement.values.push_back(displacementAt(map, row, col));
            const double value = figure.displacement.values.back();
            figure.largest = value > figure.largest ? value : figure.largest;
        }
    }
    figure.scale = width / 900.0;
    const double s = figure.scale;
    // The plot covers whole pixels of the canvas, which makes its edges sharp.
    figure.plot.left = std::round(74 * s);
    figure.plot.top = std::round(78 * s);
    figure.plot.width = std::round(width - figure.plot.left - 122 * s);
    // Very long or high images are not shown in proportion, so that the texts have room.
    const double proportion =
        std::clamp(static_cast<double>(camera.height) / camera.width, 0.25, 1.6);
    figure.plot.height = std::round(figure.plot.width * proportion);
    return figure;
}

double displacementAtPixel(const Figure& figure, Point pixel) {
    const NodeValues& nodes = figure.displacement;
    return interpolated(nodes.rows, nodes.cols, figure.toSample(pixel.x), figure.toSample(pixel.y),
                        [&](int row, int col) { return nodes.at(row, col); });
}

Point mapped(const Figure& figure, Point pixel) {
    const CoordinateMap& map = *figure.map;
    const auto coordinate = [&](const std::vector<float>& values) {
        return figure.toPixel(interpolated(
            map.rows, map.cols, figure.toSample(pixel.x), figure.toSample(pixel.y),
            [&](int row, int col) { return static_cast<double>(values[map.index(row, col)]); }));
    };
    return {coordinate(map.x), coordinate(map.y)};
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

std::string numberText(double value, double step) {
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    return format("%.*f", decimals, value);
}
