#pragma once

#include <Eigen/Core>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "inspection/image.h"
#include "inspection/point.h"

/** The break points of a model, in normalised image coordinates. */
struct Breaks {
    std::array<double, CALIBMAP_X_BREAK_COUNT> x;
    std::array<double, CALIBMAP_Y_BREAK_COUNT> y;
};

/** Spreads break points evenly from `first` to `last`. */
template <class Axis>
void spread(Axis& breaks, double first, double last) {
    const auto pieces = static_cast<double>(breaks.size() - 1);
    for (std::size_t i = 0; i < breaks.size(); ++i) {
        breaks[i] = std::lerp(first, last, static_cast<double>(i) / pieces);
    }
}

/** B-spline values or derivatives at sites, one row a site. */
using Collocation = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/** The values of all B-splines of this order at each site, as the library computes them. */
template <class Axis>
Collocation splinesAt(const Axis& breaks, int order, const std::vector<double>& sites);

/** The derivatives of this degree of the same B-splines. */
template <class Axis>
Collocation derivativesAt(const Axis& breaks, int order, int degree,
                          const std::vector<double>& sites);

/** The B-splines that do not vanish at a site: their values and the first column and row. */
struct SiteSplines {
    std::size_t col;
    std::size_t row;
    std::array<double, fittingShape.xOrder> x;
    std::array<double, fittingShape.yOrder> y;
};

/** The splines of a model with these break points at each site between the outermost ones. */
std::vector<SiteSplines> siteSplines(const Breaks& breaks, const std::vector<Point>& sites);

/** The coefficients of a model, row by row along y; one column for x and one for y. */
using Coefficients = Eigen::Matrix<double, static_cast<int>(CorrectionModel::coefficientCount), 2>;

/** What a spline of these coefficients is at a site. */
Point splineValue(const Coefficients& coefficients, const SiteSplines& site);

/** The coefficients of the identity. */
Coefficients identityCoefficients(const Breaks& breaks);

/** The model in the file's single precision, and what such a model is. */
CorrectionModel storedModel(const Breaks& breaks, const Coefficients& coefficients);
Breaks breaksOf(const CorrectionModel& model);
Coefficients coefficientsOf(const CorrectionModel& model);
