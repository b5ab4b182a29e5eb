#pragma once

#include <string>

#include "inspection/image.h"
#include "inspection/map.h"
#include "inspection/point.h"

/** Where a place of one image lies in the other, in pixels. */
struct LookUp {
    Point from;
    Point to;
    double distance;
    std::string sentence; /**< for people: "straight image: column 160.00, row 120.00 -> ..." */
};

/** Looks up a place in the map of this direction; one beside the image is moved to its border. */
LookUp lookUp(const CoordinateMap& map, const Camera& camera, Direction direction, Point place);
