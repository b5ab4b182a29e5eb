#pragma once

#include <optional>

#include "inspection/image.h"
#include "making/model.h"

/**
 * How much of what a lens sees models are fitted to: as far as `angle` (radians) from the optical
 * axis, at most a right angle.
 */
struct LensView {
    Lens lens;
    double angle;
    double reach; /**< normalised radius beyond which it records nothing of that */
};

/** Degrees: the view of all that has a place in a straight image. */
inline constexpr double wholeViewAngle = 90;

/** The view of a lens up to so many degrees from its axis. */
LensView viewOf(const Lens& lens, double degrees);

/** True when all that the lens sees belongs to the view. */
bool isWhole(const LensView& view);

/**
 * Where the lens takes a point, in normalised coordinates of the other image: the truth that a map
 * of this direction is compared with. Nothing outside the view.
 */
std::optional<Point> truthAt(const LensView& view, Direction direction, Point from);

/** The same, but quicker where `guess` is near. */
std::optional<Point> truthNear(const LensView& view, Direction direction, Point from, Point guess);

/**
 * Throws a `Failure` when the view has places within the image of `camera` that a model cannot
 * follow: because the lens folds the image over itself, or sees them at 90 degrees or more.
 */
void refuseUnfittable(const Camera& camera, const LensView& view);
