// Whether an accepted file can be used: the rules of `calibmap check`, over the library of the
// page. The few that the program keeps in its command stand here once more, and a browser test
// compares what both say.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "calibration/evaluation.h"
#include "calibration/round_trip.h"
#include "calibration/soundness.h"
#include "text.h"

namespace {

/** In pixels, as for `calibmap check` without --tolerance. */
constexpr double tolerance = 1;

/**
 * Why a device gets no map of ratio 1, or nothing. The map is not made to find that out: a page has
 * less memory than a device.
 */
std::string refusalOfMap(const Image& image, Direction direction) {
    const Camera camera = mainCameraOf(image);
    constexpr int64_t matrixLimit = int64_t{1} << 31;
    const int64_t samples = int64_t{camera.width} * camera.height;
    if (samples >= matrixLimit / static_cast<int64_t>(sizeof(double))) {
        return format(
            "a map of %d x %d samples is more than the library's matrices of 2 GiB hold (status "
            "%d)",
            camera.width, camera.height, CALIBMAP_STEP_FAILED);
    }
    return Evaluation(image, direction).at({0, 0})
               ? ""
               : format("the library refuses its models (status %d)", CALIBMAP_STEP_FAILED);
}

/** What is wrong with the two models together, or, where nothing is, how well they agree. */
std::string compareModels(const Image& image, bool& isUsable) {
    const RoundTrip trip = roundTripOf(image);
    isUsable = trip.compared > 0 && trip.largest <= tolerance;
    if (trip.compared == 0) {
        return "the maps lead out of the image everywhere";
    }
    return isUsable ? format("maps undo each other within %.3f pixels", trip.largest)
                    : format(
                          "the maps do not undo each other: (%g, %g) comes back %.3f pixels away, "
                          "beginning with the %s map",
                          trip.place.x, trip.place.y, trip.largest, nameOf(trip.first).c_str());
}

}  // namespace

/**
 * The findings on an image whose checksums and pass flag hold, one a line: all that keeps it from
 * being used, or how well its maps agree. The text is good until the next call.
 */
extern "C" const char* examineUse(const uint8_t* bytes, int32_t* isUsable) {
    static std::string findings;
    Image image{};
    std::copy_n(bytes, image.size(), image.begin());
    std::vector<std::string> faults = faultsOf(image);
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        if (const std::string refusal = faults.empty() ? refusalOfMap(image, direction) : "";
            !refusal.empty()) {
            faults.push_back("no " + nameOf(direction) + " map: " + refusal);
        }
    }
    bool agrees = false;
    if (faults.empty()) {
        faults.push_back(compareModels(image, agrees));
    }
    *isUsable = agrees ? 1 : 0;
    findings.clear();
    for (const std::string& fault : faults) {
        findings += fault + '\n';
    }
    return findings.c_str();
}
