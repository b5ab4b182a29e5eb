#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "inspection/verdict.h"

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
    bool differs; /**< from that of the other file */
};

/** Parameters under a heading: a camera, the extrinsics, the correction models. */
struct ParameterSection {
    std::string name;
    std::vector<ParameterRow> rows;
};

/**
 * What a file says, for people; the coefficients of the models only when asked for. With another
 * file, the rows whose bytes are different there are marked.
 */
std::vector<ParameterSection> parametersOf(const Image& image, bool withCoefficients,
                                           const Image* other = nullptr);

/** What a file says, for programs. */
struct Info {
    std::string name; /**< as `shown` returns it */
    Verdict verdict;
    const Image* image;
    bool withCoefficients;
};

/** Words that the library hands on without knowing what they are, as floats. */
std::vector<float> asFloats(const std::vector<uint32_t>& words);

/** "0x3f800000" for each. */
std::vector<std::string> hexTexts(const std::vector<uint32_t>& words);

/** The lens coefficients of a camera, and the extrinsics of a file. */
std::vector<uint32_t> coefficientsOf(const CameraIntrinsics& camera);
std::vector<uint32_t> extrinsicsOf(const Image& image);

/** The bytes of the extrinsics, two digits each. */
std::string extrinsicBytes(const Image& image);
