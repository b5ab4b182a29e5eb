#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "inspection/image.h"
#include "inspection/point.h"
#include "making/spline.h"

/** From pixels to normalised image coordinates and back. */
Point normalised(const Camera& camera, Point pixel);
Point inPixels(const Camera& camera, Point p);

/**
 * Evenly spaced break points that enclose the image by half a pixel. Throws a `Failure` when single
 * precision cannot tell them apart.
 */
Breaks evenBreaks(const Camera& camera);

/** What a coefficient of 1 for each B-spline alone stands for: the identity, in its coefficients.
 */
Coefficients identityCoefficients(const Breaks& breaks);

/** Pixels of displacement to the normalised coordinates of a model: identity + coefficients. */
CorrectionModel modelOfDisplacement(const Camera& camera, const Breaks& breaks,
                                    const Coefficients& displacement);

/** A function of normalised image coordinates, for many points at once; nothing where a model need
 * not follow it. */
using Target = std::function<std::vector<std::optional<Point>>(const std::vector<Point>&)>;

/**
 * Fits a correction model to a function over the image of `camera`, so that the largest error is as
 * small as it can be made: the break points go where they help most, and the least squares fit is
 * repeated with more weight where it errs more (C. L. Lawson's algorithm, 1961). Where the function
 * has no value, the model is continued smoothly.
 */
CorrectionModel fitModel(const Camera& camera, const Target& target);

/** The models of both directions. */
struct ModelPair {
    CorrectionModel undistortion;
    CorrectionModel distortion;
};
