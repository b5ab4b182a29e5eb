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

/** Warns, on standard error, of parts of the image that the break points leave out. */
void mentionUncovered(const std::string& path, const Image& image, Direction direction);
