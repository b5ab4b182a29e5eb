#include "inspection/look_up.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "inspection/text.h"

namespace {

/** What is no number is moved to 0, as it comes from a field that nobody has filled in. */
double clamped(double value, int32_t size) {
    return std::max(0.0, std::min(value, size - 1.0));
}

std::string textOf(Point place) {
    return std::isfinite(place.x) && std::isfinite(place.y)
               ? format("column %.2f, row %.2f", place.x, place.y)
               : "no place at all";
}

}  // namespace

LookUp lookUp(const CoordinateMap& map, const Camera& camera, Direction direction, Point place) {
    const Point from = {clamped(place.x, camera.width), clamped(place.y, camera.height)};
    const Point to = mapped(map, from);
    const double distance = std::hypot(to.x - from.x, to.y - from.y);
    const bool undistorts = direction == Direction::undistort;
    const char* const images[] = {"straight image: ", "recorded image: "};
    return {from, to, distance,
            images[undistorts ? 0 : 1] + textOf(from) + " \u2192 " + images[undistorts ? 1 : 0] +
                textOf(to) +
                (std::isfinite(distance) ? format("; %.2f pixels away", distance) : "")};
}
