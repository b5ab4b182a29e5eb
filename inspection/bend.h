#pragma once

#include <optional>
#include <string>

#include "inspection/image.h"
#include "inspection/point.h"

/** How far a lens records places from where they lie in the straight image. */
struct Bend {
    double outwards; /**< pixels, away from the principal point; negative towards it */
    Point place;     /**< in the straight image, where that is most */
};

/** Takes in where the undistortion map takes a pixel, unless that is outside the image. */
void add(Bend& bend, const Camera& camera, Point pixel, Point reached);

/** What the undistortion model of a sound file does; nothing when the library refuses it. */
std::optional<Bend> bendOf(const Image& image);

/** A bend as people can compare it with a picture. */
std::string sentenceOf(const Bend& bend);
