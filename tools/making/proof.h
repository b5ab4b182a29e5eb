#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "drawing/residuals.h"
#include "inspection/bend.h"
#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/statistics.h"
#include "making/lens_view.h"
#include "making/point_pairs.h"

/** Pixels. A map whose largest error is greater than this is refused unless asked for. */
inline constexpr double usualLargestError = 0.25;

/** How far a map is from what it should be. */
struct MapErrors {
    Direction direction;
    Statistics distances; /**< in pixels */
    std::vector<Residual> residuals;
};

/** The errors of a map of ratio 1 against the lens, at every pixel within the view. */
MapErrors errorsFromLens(const CoordinateMap& map, const Camera& camera, const LensView& view,
                         Direction direction);

/** The errors against the pairs that were used; those that were left out are residuals alone. */
MapErrors errorsFromPoints(const CoordinateMap& map, const std::vector<PointPair>& pairs,
                           const std::vector<std::size_t>& used,
                           const std::vector<std::size_t>& leftOut, Direction direction);

/** The errors in numbers, and the same in a line that calls them `what`. */
std::string numbersOf(const MapErrors& errors);
std::string describe(const MapErrors& errors, const std::string& what);

/**
 * Throws a `Failure` with the figures when the largest error is beyond the tolerance. `alternative`
 * is what helps besides a greater tolerance.
 */
void refuseFarFromLens(const MapErrors& errors, double tolerance, const std::string& alternative);

/** The same for measured points, whose tolerance holds for the root mean square. */
void refuseFarFromPoints(const MapErrors& errors, double tolerance);

/** Throws a `Failure` when pairs are what a lens does not do, but its inverse, or nothing, does. */
void refuseContradiction(const std::vector<PointPair>& pairs, const Camera& camera,
                         const Lens& lens, const std::string& origin);

/** What the undistortion map says of its lens, within the view if there is one. */
Bend bendOf(const CoordinateMap& undistortion, const Camera& camera, const LensView* view);
