#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "inspection/image.h"
#include "inspection/point.h"
#include "making/lens_view.h"
#include "making/spline.h"

/**
 * Evenly spaced break points that enclose the image by half a pixel. Throws a `Failure` when single
 * precision cannot tell them apart.
 */
Breaks evenBreaks(const Camera& camera);

/** A function of normalised image coordinates, for many points at once; nothing where a model need
 * not follow it. */
using Target = std::function<std::vector<std::optional<Point>>(const std::vector<Point>&)>;

/** Where a function takes a site, both in normalised image coordinates. */
struct Sample {
    Point site;
    Point value;
};

/**
 * Fits a correction model to a function over the image of `camera`, so that the largest error is as
 * small as it can be made: the break points go where they help most, and the least squares fit is
 * repeated with more weight where it errs more (C. L. Lawson's algorithm, 1961). Where the function
 * has no value, the model follows `beyond` as far as that costs the function nothing, and is
 * continued smoothly.
 */
CorrectionModel fitModel(const Camera& camera, const Target& target,
                         const std::vector<Sample>& beyond = {});

/** The models of both directions. */
struct ModelPair {
    CorrectionModel undistortion;
    CorrectionModel distortion;
};

/** Fits both models to a lens, over what its view covers of the image of `camera`. */
ModelPair fitLens(const Camera& camera, const LensView& view);

/**
 * The same function over the image of a camera that has moved a little: where the image reaches
 * beyond the break points, the outermost ones move and the outermost pieces go on. Nothing when
 * that is too far.
 */
std::optional<CorrectionModel> extendedOver(const Camera& camera, const CorrectionModel& model);
