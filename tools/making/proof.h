#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "making/fit.h"
#include "making/model.h"
#include "maps.h"

/** Pixels. A model whose largest error is greater than this is refused unless asked for. */
constexpr double usualTolerance = 0.25;

/** How far a map is from what it should be, in pixels. */
struct Deviation {
    double rootMeanSquare;
    double percentile95;
    double largest;    /**< NaN when the map or the truth is, somewhere */
    Point place;       /**< the pixel where the largest stands */
    std::size_t count; /**< places that were compared */
};

/** Collects distances one by one. */
class DeviationSum {
  public:
    /** Takes a distance in, in pixels, and the pixel where it stands. */
    void add(double distance, Point place);

    /** All of them in a few numbers; zeros when there are none. */
    [[nodiscard]] Deviation result() const;

  private:
    std::vector<float> distances_;
    double squares_ = 0;
    double largest_ = 0;
    Point place_ = {0, 0};
};

/**
 * How much of what a lens sees models are fitted to: as far as `angle` (radians) from the optical
 * axis, at most a right angle.
 */
struct View {
    Lens lens;
    double angle;
};

/** The whole view of a lens. */
View wholeView(const Lens& lens);

/**
 * Where the lens takes a point, in normalised coordinates of the other image: the truth that a map
 * of this direction is compared with. Nothing outside the view.
 */
std::optional<Point> truthAt(const View& view, Direction direction, Point from);

/**
 * Throws a `Failure` when the view has places within the image of `camera` that a model cannot
 * follow: because the lens folds the image over itself, or sees them at 90 degrees or more.
 */
void refuseUnfittable(const Camera& camera, const View& view);

/** The error of a map of ratio 1 against the lens, at every pixel within the view. */
Deviation deviationFromLens(const CoordinateMap& map, const Camera& camera, const View& view,
                            Direction direction);

/** Fits both models to a lens, over what its view covers of the image of `camera`. */
ModelPair fitView(const Camera& camera, const View& view);

/** One line with a map's deviation, called `what`. */
std::string describe(Direction direction, const std::string& what, const Deviation& deviation);

/**
 * Throws a `Failure` with the figures when the largest error is beyond the tolerance. `alternative`
 * is what helps besides a greater tolerance.
 */
void refusePoorFit(Direction direction, const Deviation& deviation, double tolerance,
                   const std::string& alternative = "");
