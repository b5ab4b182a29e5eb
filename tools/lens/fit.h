#pragma once

#include <functional>

#include "calibration/image.h"
#include "lens/model.h"

/** The shape of the models that the library's 10 x 12 correction matrices hold. */
constexpr ModelShape fittingShape = {
    .xOrder = CALIBMAP_CORRECTION_COLS - CALIBMAP_X_BREAK_COUNT + 2,
    .yOrder = CALIBMAP_CORRECTION_ROWS - CALIBMAP_Y_BREAK_COUNT + 2,
    .xPieces = CALIBMAP_X_BREAK_COUNT - 1,
    .yPieces = CALIBMAP_Y_BREAK_COUNT - 1,
};

/**
 * Fits a correction model to a function of normalised image coordinates over the whole image of
 * `camera`. Over the sites u_i, v_j of a grid, with the collocation matrices Bx and By, it solves
 *
 *     minimise sum over i, j of ( (By C Bx^T)(j, i) - target(u_i, v_j) )^2
 *
 * for the coefficients C of x and of y. The problem is a tensor product, so two small least
 * squares problems solve it exactly, one per axis.
 */
CorrectionModel fitModel(const Camera& camera, const std::function<Point(Point)>& target);
