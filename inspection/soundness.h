#pragma once

#include <string>
#include <vector>

#include "inspection/image.h"

// The library accepts every file whose checksums hold. What stands in it may be of no use all the
// same: these functions name what is wrong, each in one phrase.

/** The numbers of the main camera and of one model that are no numbers or infinite. */
std::vector<std::string> numbersNotFinite(const Image& image, Direction direction);

/** What keeps the map of one direction from being right; it includes the numbers not finite. */
std::vector<std::string> modelFaults(const Image& image, Direction direction);

/**
 * Which parts of the image the break points of a model leave out: a sample there evaluates to zero,
 * which puts it on the principal point. Nothing when they enclose the image.
 */
std::string uncoveredParts(const Image& image, Direction direction);

/**
 * The smallest ratio whose map the library's matrices hold, less than 2 GiB each; 0 when the image
 * is too large for a map of any ratio.
 */
int32_t smallestRatioOf(const Camera& camera);

/** Says that the image is too large for a map of this ratio, or for any; nothing if it is not. */
std::string sizeFault(const Camera& camera, int32_t ratio);

/** All of these, for both directions, and the numbers of the sub camera that are not finite. */
std::vector<std::string> faultsOf(const Image& image);
