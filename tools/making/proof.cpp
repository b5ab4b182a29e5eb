#include "making/proof.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "failure.h"
#include "inspection/text.h"
#include "making/fit.h"

namespace {

constexpr double degrees = 180 / std::numbers::pi;

bool isWhole(const View& view) {
    return view.angle >= std::numbers::pi / 2;
}

/** The pixel of the image that is next to a place on its border. */
std::string pixelText(const Camera& camera, Point place) {
    return format("pixel (%.0f, %.0f)", std::clamp(place.x, 0.0, camera.width - 1.0),
                  std::clamp(place.y, 0.0, camera.height - 1.0));
}

/** Places around the image, half a pixel outside the outermost pixel centres. */
std::vector<Point> borderOf(const Camera& camera) {
    constexpr int places = 64;
    std::vector<Point> border;
    for (int i = 0; i <= places; ++i) {
        const double x = -0.5 + camera.width * static_cast<double>(i) / places;
        const double y = -0.5 + camera.height * static_cast<double>(i) / places;
        border.insert(border.end(),
                      {{x, -0.5}, {x, camera.height - 0.5}, {-0.5, y}, {camera.width - 0.5, y}});
    }
    return border;
}

/** A straight point moved towards the principal point until it is within the view. */
Point withinView(const View& view, Point straight) {
    const double radius = std::hypot(straight.x, straight.y);
    const double limit = std::tan(view.angle);
    const double scale = isWhole(view) || radius <= limit ? 1 : limit / radius;
    return {straight.x * scale, straight.y * scale};
}

void refuseRightAngle(const Camera& camera, const Lens& lens, const std::vector<Point>& border) {
    double widest = 0;
    Point place = {0, 0};
    for (const Point& pixel : border) {
        const double angle = recordedAngle(lens, normalised(camera, pixel)).value_or(0);
        if (angle > widest) {
            widest = angle;
            place = pixel;
        }
    }
    if (widest >= std::numbers::pi / 2) {
        throw Failure("lens",
                      format("%s is %.1f degrees off the optical axis and from 90 on there is no "
                             "straight image",
                             pixelText(camera, place).c_str(), widest * degrees),
                      "limit the fitted region with --max-angle, try 60");
    }
}

}  // namespace

void DeviationSum::add(double distance, Point place) {
    distances_.push_back(static_cast<float>(distance));
    squares_ += distance * distance;
    // Written so that a NaN shows in the result, and stays.
    if (!(distance <= largest_) && !std::isnan(largest_)) {
        largest_ = distance;
        place_ = place;
    }
}

Deviation DeviationSum::result() const {
    if (distances_.empty()) {
        return {};
    }
    if (std::isnan(largest_)) {
        return {NAN, NAN, NAN, place_, distances_.size()};
    }
    std::vector<float> sorted = distances_;
    const auto at95 = static_cast<std::ptrdiff_t>(static_cast<double>(sorted.size() - 1) * 0.95);
    std::nth_element(sorted.begin(), sorted.begin() + at95, sorted.end());
    return {std::sqrt(squares_ / static_cast<double>(sorted.size())),
            sorted[static_cast<std::size_t>(at95)], largest_, place_, sorted.size()};
}

View wholeView(const Lens& lens) {
    return {lens, std::numbers::pi / 2};
}

std::optional<Point> truthAt(const View& view, Direction direction, Point from) {
    if (direction == Direction::undistort) {
        return isWhole(view) || angleOf(from) <= view.angle
                   ? std::optional<Point>(distorted(view.lens, from))
                   : std::nullopt;
    }
    const std::optional<Point> straight = straightened(view.lens, from);
    return straight && angleOf(*straight) <= view.angle ? straight : std::nullopt;
}

void refuseUnfittable(const Camera& camera, const View& view) {
    const std::vector<Point> border = borderOf(camera);
    if (isWhole(view)) {
        refuseRightAngle(camera, view.lens, border);
    }
    for (const Point& pixel : border) {
        const Point p = normalised(camera, pixel);
        if (!isUnfoldedUpTo(view.lens, withinView(view, p)) ||
            (isWhole(view) && !straightened(view.lens, p))) {
            throw Failure(
                "lens",
                "it folds over itself inside the image, on the way to " + pixelText(camera, pixel),
                "check its coefficients or limit the angle that is fitted");
        }
    }
}

Deviation deviationFromLens(const CoordinateMap& map, const Camera& camera, const View& view,
                            Direction direction) {
    DeviationSum sum;
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::size_t i = map.index(row, col);
            const Point pixel = {static_cast<double>(col), static_cast<double>(row)};
            const Point from = normalised(camera, pixel);
            std::optional<Point> truth;
            if (direction == Direction::distort && isWhole(view) &&
                view.lens.kind == LensKind::radialTangential) {
                // The map is close to the truth, which saves following the ray for every pixel.
                truth = straightenedFrom(view.lens, from, normalised(camera, {map.x[i], map.y[i]}));
            }
            if (!truth) {
                truth = truthAt(view, direction, from);
            }
            if (truth) {
                const Point to = inPixels(camera, *truth);
                sum.add(std::hypot(map.x[i] - to.x, map.y[i] - to.y), pixel);
            } else if (isWhole(view)) {
                sum.add(NAN, pixel);
            }
        }
    }
    return sum.result();
}

ModelPair fitView(const Camera& camera, const View& view) {
    const auto fit = [&](Direction direction) {
        return fitModel(camera, [&](const std::vector<Point>& sites) {
            std::vector<std::optional<Point>> values;
            values.reserve(sites.size());
            for (const Point& site : sites) {
                values.push_back(truthAt(view, direction, site));
            }
            return values;
        });
    };
    return {fit(Direction::undistort), fit(Direction::distort)};
}

std::string describe(Direction direction, const std::string& what, const Deviation& deviation) {
    return format(
        "%-9s %s: root mean square %.6f, 95 %% below %.6f, largest %.6f pixels at "
        "(%.0f, %.0f)",
        nameOf(direction).c_str(), what.c_str(), deviation.rootMeanSquare, deviation.percentile95,
        deviation.largest, deviation.place.x, deviation.place.y);
}

void refusePoorFit(Direction direction, const Deviation& deviation, double tolerance,
                   const std::string& alternative) {
    if (!std::isfinite(deviation.rootMeanSquare)) {
        throw Failure("lens", "no model of this size follows it",
                      "check its coefficients and focal lengths");
    }
    if (deviation.largest > tolerance) {
        throw Failure("lens",
                      format("the best %s model is %.3f pixels off at (%.0f, %.0f), root mean "
                             "square %.3f",
                             nameOf(direction).c_str(), deviation.largest, deviation.place.x,
                             deviation.place.y, deviation.rootMeanSquare),
                      format("allow that with --tolerance (now %g)", tolerance) + alternative);
    }
}
