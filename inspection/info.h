#pragma once

#include <string>
#include <vector>

#include "inspection/image.h"

/** Angles, in degrees, that a straightened image covers, to the edges of its outermost pixels. */
struct FieldOfView {
    double horizontal;
    double vertical;
    double diagonal;
};
FieldOfView fieldOfView(const CameraIntrinsics& camera);

/** A parameter in words, as people read it. */
struct ParameterRow {
    std::string name; /**< "image", "focal lengths", ... */
    std::string text;
};

/** Parameters under a heading: a camera, the extrinsics, the correction models. */
struct ParameterSection {
    std::string name;
    std::vector<ParameterRow> rows;
};

/** What a file says, for people; the coefficients of the models only when asked for. */
std::vector<ParameterSection> parametersOf(const Image& image, bool withCoefficients);
