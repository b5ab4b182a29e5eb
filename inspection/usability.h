#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "inspection/bend.h"
#include "inspection/image.h"
#include "inspection/point.h"

/** How far the two models are from undoing each other. */
struct RoundTrip {
    double largest;       /**< pixels between a position and where both models lead from there */
    Point place;          /**< where that is, in pixels */
    Direction first;      /**< the model that is applied first there */
    std::size_t compared; /**< positions whose way leads through the image */
};

/**
 * Goes both ways, there and back again, from positions spread over the image and its border; a way
 * that leads out of the image says nothing, because the model of the way back ends there. Both
 * models have to be sound.
 */
RoundTrip roundTripOf(const Image& image);

/** Whether a file that a device accepts can be used. */
struct Usability {
    std::vector<std::string> faults;    /**< what keeps it from that */
    std::optional<RoundTrip> roundTrip; /**< of a file whose maps can be made */
    std::optional<Bend> bend;           /**< of the same */
};

/** How far, in pixels, the maps of a usable file may be from undoing each other, unless told. */
inline constexpr double usualAgreement = 1;

/**
 * Looks at an accepted file's numbers, then at its maps, then at how well these undo each other:
 * they have to within `tolerance` pixels.
 */
Usability usabilityOf(const Image& image, double tolerance);

/** Says how well the maps of a usable file undo each other. */
std::string agreementOf(const RoundTrip& roundTrip);
