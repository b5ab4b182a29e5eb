#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/image.h"
#include "calibration/round_trip.h"

/** Whether a file that a device accepts can be used. */
struct Use {
    std::vector<std::string> faults; /**< what keeps it from that */
    std::optional<RoundTrip> trip;   /**< of a file whose maps can be made */
};

/** How far, in pixels, the maps of a usable file may be from undoing each other, unless told. */
inline constexpr double usualTolerance = 1;

/** Why there is no map of ratio 1 in one direction; nothing where there is one. */
using MapRefusal = std::string (*)(const Image& image, Direction direction);

/**
 * Looks at an accepted file's numbers, then at its maps, then at how well these undo each other:
 * they have to within `tolerance` pixels.
 */
Use useOf(const Image& image, double tolerance, MapRefusal refusalOfMap);

/** Says how well the maps of a usable file undo each other. */
std::string agreementOf(const RoundTrip& trip);
