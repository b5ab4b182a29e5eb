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

bool isOnImage(const Camera& camera, Point pixel) {
    return pixel.x >= 0 && pixel.x <= camera.width - 1 && pixel.y >= 0 &&
           pixel.y <= camera.height - 1;
}

}  // namespace

RoundTrip roundTripOf(const Image& image) {
    const Camera camera = mainCameraOf(image);
    const std::vector<Point> starts = pixelsOver(camera, 32);
    const Evaluation undistortion(image, Direction::undistort);
    const Evaluation distortion(image, Direction::distort);
    RoundTrip result{};
    for (const Direction first : {Direction::undistort, Direction::distort}) {
        const bool undistorts = first == Direction::undistort;
        const std::vector<Point> there = (undistorts ? undistortion : distortion).at(starts);
        std::vector<Point> begun;
        std::vector<Point> reached;
        for (std::size_t i = 0; i < there.size(); ++i) {
            if (isOnImage(camera, there[i])) {
                begun.push_back(starts[i]);
                reached.push_back(there[i]);
            }
        }
        const std::vector<Point> back = (undistorts ? distortion : undistortion).at(reached);
        for (std::size_t i = 0; i < back.size(); ++i) {
            const double distance = std::hypot(back[i].x - begun[i].x, back[i].y - begun[i].y);
            ++result.compared;
            if (!(distance <= result.largest)) {
                result.largest = distance;
                result.place = begun[i];
                result.first = first;
            }
        }
    }
    return result;
}

Usability usabilityOf(const Image& image, double tolerance) {
    Usability usability = {faultsOf(image), {}, {}};
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        if (usability.faults.empty() && !Evaluation(image, direction).at({0, 0})) {
            usability.faults.push_back(
                "no " + nameOf(direction) +
                " map: " + refusalOfMap(image, direction, 1, CALIBMAP_STEP_FAILED).reason);
        }
    }
    if (usability.faults.empty()) {
        usability.roundTrip = roundTripOf(image);
        usability.bend = bendOf(image);
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
