#pragma once

#include <vector>

#include "making/spline.h"

/**
 * How rough a model is: the quadratic form, over the coefficients of one coordinate, of the mean
 * over the image of the squares of its second derivatives, f_uu^2 + 2 f_uv^2 + f_vv^2, with the
 * image's longer side as unit of length. What a thin plate would store if it were bent like that.
 */
using Roughness = Eigen::MatrixXd;

/** The roughness of models with these break points, over an image with these focal lengths. */
Roughness roughnessOver(const Breaks& breaks, double fx, double fy);

/** What a model is fitted to: weighted values at sites. */
struct Observations {
    std::vector<SiteSplines> sites;
    std::vector<Point> values;
    std::vector<double> weights;
};

/** How far a spline is from each of the values. */
std::vector<double> distancesFrom(const Coefficients& fitted, const Observations& observed);

/**
 * The coefficients that minimise
 *
 *     sum of weight * |model - value|^2 / sum of weights  +  smoothing * roughness.
 */
Coefficients leastSquares(const Observations& observed, const Roughness& roughness,
                          double smoothing);

/**
 * The same with the smoothing, at least `least`, that predicts best what it does not see, by
 * generalised cross-validation (G. Wahba, "Spline Models for Observational Data", 1990).
 */
struct ValidatedFit {
    Coefficients coefficients;
    double freedom; /**< how many free parameters the model effectively has, for one coordinate */
};
ValidatedFit crossValidated(const Observations& observed, const Roughness& roughness, double least);

/**
 * How much a fit with so much freedom underestimates the error of its predictions, for so many
 * observations: what its mean square is multiplied by to compare it with others. Degrees of freedom
 * count more than once, which keeps cross-validation from following noise (C. Gu, "Smoothing Spline
 * ANOVA Models", 2002).
 */
double validationFactor(double freedom, double observations);
