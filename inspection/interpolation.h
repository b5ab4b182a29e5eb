#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

/** Between which elements of a grid a place lies, and how far from the first of them. */
struct Cell {
    int32_t row;
    int32_t col;
    int32_t nextRow;
    int32_t nextCol;
    double right;
    double down;
};

/**
 * The cell of column x and row y in a rows x cols grid. Beyond the outermost elements a place
 * counts for up to `beyond` elements and then stays.
 */
inline Cell cellAt(int32_t rows, int32_t cols, double x, double y, double beyond = 0) {
    x = std::clamp(x, -beyond, cols - 1 + beyond);
    y = std::clamp(y, -beyond, rows - 1 + beyond);
    const auto before = [](double place, int32_t count) {
        const auto whole = static_cast<int32_t>(place);
        return std::clamp(whole - (place < whole ? 1 : 0), 0, std::max(count - 2, 0));
    };
    const int32_t col = before(x, cols);
    const int32_t row = before(y, rows);
    return {row, col, std::min(row + 1, rows - 1), std::min(col + 1, cols - 1), x - col, y - row};
}

/**
 * Bilinear interpolation between the elements of a rows x cols grid, at column x and row y.
 * `at(row, col)` gives an element. Beyond the outermost elements the value goes on straight for up
 * to `beyond` elements and then stays.
 */
template <class At>
double interpolated(int32_t rows, int32_t cols, double x, double y, const At& at,
                    double beyond = 0) {
    const Cell cell = cellAt(rows, cols, x, y, beyond);
    // Not std::lerp, by which it depends on the compiler whether what is no number is passed on.
    const auto mixed = [](double a, double b, double t) { return a * (1 - t) + b * t; };
    return mixed(mixed(at(cell.row, cell.col), at(cell.row, cell.nextCol), cell.right),
                 mixed(at(cell.nextRow, cell.col), at(cell.nextRow, cell.nextCol), cell.right),
                 cell.down);
}
