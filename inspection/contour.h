#pragma once

#include <vector>

#include "inspection/point.h"

/** Values at the nodes of a grid, row by row. */
struct NodeValues {
    int rows;
    int cols;
    std::vector<double> values;

    [[nodiscard]] double at(int row, int col) const {
        return values[static_cast<std::size_t>(row) * static_cast<std::size_t>(cols) +
                      static_cast<std::size_t>(col)];
    }
};

/** A chain of points; a closed one ends where it begins. */
using Polyline = std::vector<Point>;

/**
 * The lines along which the values equal `level`, in node coordinates (x column, y row), found by
 * marching squares. Cells with a value that is not a number are left out.
 */
std::vector<Polyline> contourLines(const NodeValues& nodes, double level);
