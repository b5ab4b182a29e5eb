#include "inspection/usability.h"

#include <cmath>

#include "inspection/evaluation.h"
#include "inspection/map.h"
#include "inspection/soundness.h"
#include "inspection/text.h"

namespace {

/** What is wrong with the two models together; nothing where they agree. */
std::string disagreement(const RoundTrip& trip, double tolerance) {
    if (trip.compared == 0) {
        return "the maps lead out of the image everywhere";
    }
    return trip.largest <= tolerance
               ? ""
               : format(
                     "the maps do not undo each other: (%g, %g) comes back %s pixels away, "
                     "beginning with the %s map",
                     trip.place.x, trip.place.y, decimal(trip.largest, 3).c_str(),
                     nameOf(trip.first).c_str());
}

}  // namespace

RoundTrip roundTripOf(const Image& image) {
    constexpr int steps = 32;
    const Camera camera = mainCameraOf(image);
    const Evaluation undistortion(image, Direction::undistort);
    const Evaluation distortion(image, Direction::distort);
    RoundTrip result{};
    const auto visit = [&](Direction first, Point start) {
        const bool undistorts = first == Direction::undistort;
        const auto there = (undistorts ? undistortion : distortion).at(start);
        if (!there || !(there->x >= 0 && there->x <= camera.width - 1 && there->y >= 0 &&
                        there->y <= camera.height - 1)) {
            return;
        }
        const auto back = (undistorts ? distortion : undistortion).at(*there);
        const double distance = back ? std::hypot(back->x - start.x, back->y - start.y) : NAN;
        ++result.compared;
        if (!(distance <= result.largest)) {
            result.largest = distance;
            result.place = start;
            result.first = first;
        }
    };
    for (int row = 0; row <= steps; ++row) {
        for (int col = 0; col <= steps; ++col) {
            const Point start = {static_cast<double>(camera.width - 1) * col / steps,
                                 static_cast<double>(camera.height - 1) * row / steps};
            visit(Direction::undistort, start);
            visit(Direction::distort, start);
        }
    }
    return result;
}

Usability usabilityOf(const Image& image, double tolerance) {
    Usability usability = {faultsOf(image), {}};
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        if (usability.faults.empty() && !Evaluation(image, direction).at({0, 0})) {
            usability.faults.push_back(
                "no " + nameOf(direction) +
                " map: " + refusalOfMap(image, direction, 1, CALIBMAP_STEP_FAILED).reason);
        }
    }
    if (usability.faults.empty()) {
        usability.roundTrip = roundTripOf(image);
        const std::string wrong = disagreement(*usability.roundTrip, tolerance);
        if (!wrong.empty()) {
            usability.faults.push_back(wrong);
        }
    }
    return usability;
}

std::string agreementOf(const RoundTrip& roundTrip) {
    return "maps undo each other within " + decimal(roundTrip.largest, 3) + " pixels";
}
