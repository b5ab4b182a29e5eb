#pragma once

#include <optional>

#include "lens/point.h"

/**
 * Brown-Conrady lens in normalised image coordinates, the principal point at the origin. With
 * r^2 = x^2 + y^2 and s = 1 + k1 r^2 + k2 r^4 + k3 r^6, the lens takes (x, y) to
 *
 *     (x s + 2 p1 x y + p2 (r^2 + 2 x^2),  y s + p1 (r^2 + 2 y^2) + 2 p2 x y).
 *
 * Reference: D. C. Brown, "Decentering Distortion of Lenses", Photogrammetric Engineering, 1966.
 */
struct Lens {
    double k1;
    double k2;
    double p1;
    double p2;
    double k3;
};

/** Where the lens takes a point of the straight image. */
Point distorted(const Lens& lens, Point straight);

/**
 * Determinant of the lens's Jacobian matrix. Where it is not positive, the lens folds the image
 * over itself, and several points of the scene share one point of the recorded image.
 */
double localArea(const Lens& lens, Point straight);

/** The straight point next to `start` that the lens takes to `recorded`; nothing if none is. */
std::optional<Point> straightenedFrom(const Lens& lens, Point recorded, Point start);

/**
 * The straight point that the lens takes to `recorded`, found by following the ray from the
 * principal point, so that it lies on the side of the first fold that holds the principal point;
 * nothing if the ray meets a fold.
 */
std::optional<Point> straightened(const Lens& lens, Point recorded);

/** True when the lens folds nowhere on the ray from the principal point to `straight`. */
bool isUnfoldedUpTo(const Lens& lens, Point straight);
