#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

/**
 * Bilinear interpolation between the elements of a rows x cols grid, at column x and row y. A place
 * outside takes the value of the nearest place inside. `at(row, col)` gives an element.
 */
template <class At>
double interpolated(int32_t rows, int32_t cols, double x, double y, const At& at) {
    x = std::clamp(x, 0.0, cols - 1.0);
    y = std::clamp(y, 0.0, rows - 1.0);
    const auto col = static_cast<int32_t>(x);
    const auto row = static_cast<int32_t>(y);
    const int32_t nextCol = std::min(col + 1, cols - 1);
    const int32_t nextRow = std::min(row + 1, rows - 1);
    return std::lerp(std::lerp(at(row, col), at(row, nextCol), x - col),
                     std::lerp(at(nextRow, col), at(nextRow, nextCol), x - col), y - row);
}
