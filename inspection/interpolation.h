#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

/**
 * Bilinear interpolation between the elements of a rows x cols grid, at column x and row y.
 * `at(row, col)` gives an element. Beyond the outermost elements the value goes on straight for up
 * to `beyond` elements and then stays.
 */
template <class At>
double interpolated(int32_t rows, int32_t cols, double x, double y, const At& at,
                    double beyond = 0) {
    x = std::clamp(x, -beyond, cols - 1 + beyond);
    y = std::clamp(y, -beyond, rows - 1 + beyond);
    const auto before = [](double place, int32_t count) {
        return std::clamp(static_cast<int32_t>(std::floor(place)), 0, std::max(count - 2, 0));
    };
    const int32_t col = before(x, cols);
    const int32_t row = before(y, rows);
    const int32_t nextCol = std::min(col + 1, cols - 1);
    const int32_t nextRow = std::min(row + 1, rows - 1);
    // Not std::lerp, by which it depends on the compiler whether what is no number is passed on.
    const auto between = [](double a, double b, double t) { return a * (1 - t) + b * t; };
    return between(between(at(row, col), at(row, nextCol), x - col),
                   between(at(nextRow, col), at(nextRow, nextCol), x - col), y - row);
}
