#include "inspection/pixel_values.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "inspection/interpolation.h"

namespace {

/** Every how many columns and rows a picture of this width needs: one value a dot, at the least. */
int32_t thinning(int32_t cols, int32_t rows, int32_t width) {
    return std::max(1, std::max(cols, rows) / std::max(1, width));
}

/** Values, not numbers yet, for every so many of these columns and rows. */
NodeValues nodesFor(int32_t cols, int32_t rows, int32_t every) {
    NodeValues nodes = {(rows - 1) / every + 1, (cols - 1) / every + 1, {}};
    nodes.values.assign(static_cast<std::size_t>(nodes.rows) * static_cast<std::size_t>(nodes.cols),
                        std::numeric_limits<double>::quiet_NaN());
    return nodes;
}

}  // namespace

PixelValues displacementsOf(const CoordinateMap& map, const Statistics& moved, int32_t width) {
    const int32_t every = thinning(map.cols, map.rows, width);
    PixelValues values = {
        .nodes = nodesFor(map.cols, map.rows, every),
        .first = pixelOfSample(map, 0),
        .step = static_cast<double>(every) * map.ratio,
        .covered = {static_cast<double>(map.cols) * map.ratio,
                    static_cast<double>(map.rows) * map.ratio},
        .largest = 0,
        .place = {0, 0},
    };
    setLargest(values, moved);
    std::size_t i = 0;
    for (int32_t row = 0; row < map.rows; row += every) {
        for (int32_t col = 0; col < map.cols; col += every) {
            values.nodes.values[i++] = displacementAt(map, row, col);
        }
    }
    return values;
}

PixelValues valuesForDifference(const Camera& camera, int32_t width) {
    const int32_t every = thinning(camera.width, camera.height, width);
    return {.nodes = nodesFor(camera.width, camera.height, every),
            .first = 0,
            .step = static_cast<double>(every),
            .covered = {static_cast<double>(camera.width), static_cast<double>(camera.height)},
            .largest = 0,
            .place = {0, 0}};
}

void addRow(PixelValues& values, int32_t row, const std::vector<float>& distances) {
    const auto every = static_cast<int32_t>(values.step);
    if (row % every != 0) {
        return;
    }
    const auto cols = static_cast<std::size_t>(values.nodes.cols);
    const std::size_t begin = static_cast<std::size_t>(row / every) * cols;
    for (std::size_t col = 0; col < cols; ++col) {
        values.nodes.values[begin + col] =
            static_cast<double>(distances[col * static_cast<std::size_t>(every)]);
    }
}

void setLargest(PixelValues& values, const Statistics& all) {
    values.largest = all.count > 0 ? all.largest : std::numeric_limits<double>::quiet_NaN();
    values.place = all.place;
}

double valueAt(const PixelValues& values, Point pixel) {
    // The last of thinned values stands less than one step before the border.
    constexpr double beyond = 1;
    const double value = interpolated(
        values.nodes.rows, values.nodes.cols, (pixel.x - values.first) / values.step,
        (pixel.y - values.first) / values.step,
        [&](int row, int col) { return values.nodes.at(row, col); }, beyond);
    return value < 0 ? 0 : value;
}
