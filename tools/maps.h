#pragma once

#include <cstdint>
#include <string>

#include "inspection/image.h"
#include "inspection/map.h"

/**
 * The map that the library computes from a verified file image. `path` names the file: in the
 * `Failure` that is thrown when the map cannot be right or the library refuses it, and in warnings
 * when it means nothing or the break points leave out a part of the image.
 */
CoordinateMap computeMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio);

/** Throws the `Failure` of a map that cannot be right, or that the library refuses for its size. */
void refuseImpossibleMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio);

/** Throws the `Failure` of a map that the library has refused with this status. */
[[noreturn]] void refuseMap(const std::string& path, const Image& image, Direction direction,
                            int32_t ratio, int32_t status);

/** Warns of what keeps a map from meaning something, though the library computes it. */
void warnOfMap(const std::string& path, const Image& image, Direction direction);

/** Warns, on standard error, of parts of the image that the break points leave out. */
void mentionUncovered(const std::string& path, const Image& image, Direction direction);
