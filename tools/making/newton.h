#pragma once

#include <Eigen/Core>
#include <cmath>
#include <optional>
#include <unsupported/Eigen/AutoDiff>

#include "inspection/point.h"

/** A number and its derivatives with respect to x and y. */
using Dual = Eigen::AutoDiffScalar<Eigen::Vector2d>;

/** Where a function takes a point, and its derivatives there. */
struct DualPoint {
    Dual x;
    Dual y;

    [[nodiscard]] Point point() const { return {x.value(), y.value()}; }
    [[nodiscard]] double determinant() const {
        return x.derivatives()[0] * y.derivatives()[1] - x.derivatives()[1] * y.derivatives()[0];
    }
};

/** The point itself, as a function of its coordinates. */
inline DualPoint variableAt(Point p) {
    return {Dual(p.x, 2, 0), Dual(p.y, 2, 1)};
}

/**
 * The point next to `start` that a function takes to `target`, by Newton's method. The function
 * returns an optional `DualPoint`: nothing where it cannot be inverted, and then there is none.
 */
template <class Function>
std::optional<Point> solved(const Function& function, Point target, Point start) {
    constexpr int maxSteps = 20;
    // The step after one of this length would be about its square.
    constexpr double tolerance = 1e-9;
    Point p = start;
    for (int step = 0; step < maxSteps; ++step) {
        const std::optional<DualPoint> reached = function(variableAt(p));
        if (!reached) {
            return std::nullopt;
        }
        const double area = reached->determinant();
        const auto& dx = reached->x.derivatives();
        const auto& dy = reached->y.derivatives();
        const Point error = {reached->x.value() - target.x, reached->y.value() - target.y};
        const Point move = {(dy[1] * error.x - dx[1] * error.y) / area,
                            (dx[0] * error.y - dy[0] * error.x) / area};
        p = {p.x - move.x, p.y - move.y};
        if (std::abs(move.x) + std::abs(move.y) <=
            tolerance * (1 + std::abs(p.x) + std::abs(p.y))) {
            return p;
        }
    }
    return std::nullopt;
}
