#include "calibration/use.h"

#include "calibration/soundness.h"
#include "text.h"

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

Use useOf(const Image& image, double tolerance, MapRefusal refusalOfMap) {
    Use use = {faultsOf(image), {}};
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const std::string refusal = use.faults.empty() ? refusalOfMap(image, direction) : "";
        if (!refusal.empty()) {
            use.faults.push_back("no " + nameOf(direction) + " map: " + refusal);
        }
    }
    if (use.faults.empty()) {
        use.trip = roundTripOf(image);
        const std::string wrong = disagreement(*use.trip, tolerance);
        if (!wrong.empty()) {
            use.faults.push_back(wrong);
        }
    }
    return use;
}

std::string agreementOf(const RoundTrip& trip) {
    return "maps undo each other within " + decimal(trip.largest, 3) + " pixels";
}
