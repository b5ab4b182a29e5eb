#pragma once

#include <vector>

#include "inspection/image.h"
#include "inspection/point.h"
#include "making/newton.h"

/**
 * A displacement in pixels as lenses have it: the first `terms.size()` terms of offset, affine,
 * radial (r^2, r^4), tangential and further radial (r^6, r^8) distortion.
 */
struct LensPolynomial {
    double unit; /**< the length, in normalised coordinates, that the terms count in */
    Eigen::VectorXd terms;
};

/** The displacement in pixels at a site in normalised image coordinates. */
Point polynomialValue(const LensPolynomial& polynomial, Point site);

/** The same with its derivatives. */
DualPoint polynomialValue(const LensPolynomial& polynomial, const DualPoint& site);

/**
 * The polynomial with the number of terms that predicts the displacements best. `weights` come back
 * as what they deserve: outliers have little or none.
 */
LensPolynomial fitPolynomial(const Camera& camera, const std::vector<Point>& sites,
                             const std::vector<Point>& displacements, std::vector<double>& weights);
