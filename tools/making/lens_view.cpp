#include "making/lens_view.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "failure.h"
#include "inspection/text.h"
#include "making/plane.h"

namespace {

constexpr double degreesOfRadian = 180 / std::numbers::pi;

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
Point withinView(const LensView& view, Point straight) {
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
                             pixelText(camera, place).c_str(), widest * degreesOfRadian),
                      "limit the fitted region with --max-angle, try 60");
    }
}

/** The angle, in degrees, at which the lens folds first on the way to a place; 90 if it does not.
 */
double foldTowards(const Lens& lens, Point place) {
    const double radius = std::hypot(place.x, place.y);
    for (int tenth = 1; tenth < 900; ++tenth) {
        const double angle = tenth / 10.0;
        const double scale = std::tan(angle / degreesOfRadian) / radius;
        if (!isRegularAt(lens, {place.x * scale, place.y * scale})) {
            return angle;
        }
    }
    return 90;
}

[[noreturn]] void refuseFold(const Camera& camera, const Lens& lens, Point pixel) {
    double fold = 90;
    for (const Point& place : borderOf(camera)) {
        fold = std::min(fold, foldTowards(lens, normalised(camera, place)));
    }
    // Close to a fold no model follows the way back.
    const double inside = std::floor(0.85 * fold / 5) * 5;
    throw Failure("lens",
                  format("it folds over itself inside the image, on the way to %s, %.1f degrees "
                         "from the axis",
                         pixelText(camera, pixel).c_str(), fold),
                  inside < 10 ? "check its coefficients"
                              : format("check its coefficients, or try --max-angle %.0f", inside));
}

}  // namespace

LensView viewOf(const Lens& lens, double degrees) {
    LensView view = {lens, degrees / degreesOfRadian, INFINITY};
    if (isWhole(view)) {
        return view;
    }
    constexpr int places = 720;
    view.reach = 0;
    for (int i = 0; i < places; ++i) {
        const double turn = 2 * std::numbers::pi * i / places;
        const double radius = std::tan(view.angle);
        const Point rim = distorted(lens, {radius * std::cos(turn), radius * std::sin(turn)});
        view.reach = std::max(view.reach, std::hypot(rim.x, rim.y));
    }
    // Between the places it is a little more.
    view.reach *= 1.001;
    return view;
}

bool isWhole(const LensView& view) {
    return view.angle >= std::numbers::pi / 2;
}

std::optional<Point> truthAt(const LensView& view, Direction direction, Point from) {
    if (direction == Direction::undistort) {
        return isWhole(view) || angleOf(from) <= view.angle
                   ? std::optional<Point>(distorted(view.lens, from))
                   : std::nullopt;
    }
    if (std::hypot(from.x, from.y) > view.reach) {
        return std::nullopt;
    }
    const std::optional<Point> straight = straightened(view.lens, from);
    return straight && angleOf(*straight) <= view.angle ? straight : std::nullopt;
}

std::optional<Point> truthNear(const LensView& view, Direction direction, Point from, Point guess) {
    if (direction == Direction::distort) {
        // The whole view has been found to be free of folds, so that there is no other one.
        const std::optional<Point> straight = straightenedFrom(view.lens, from, guess);
        if (straight && (isWhole(view) || angleOf(*straight) <= view.angle)) {
            return straight;
        }
    }
    return truthAt(view, direction, from);
}

void refuseUnfittable(const Camera& camera, const LensView& view) {
    const std::vector<Point> border = borderOf(camera);
    if (isWhole(view)) {
        refuseRightAngle(camera, view.lens, border);
    }
    for (const Point& pixel : border) {
        const Point p = normalised(camera, pixel);
        if (!isUnfoldedUpTo(view.lens, withinView(view, p)) ||
            (isWhole(view) && !straightened(view.lens, p))) {
            refuseFold(camera, view.lens, pixel);
        }
    }
}
