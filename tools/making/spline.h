#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "inspection/image.h"
#include "inspection/point.h"

/** The break points of a model, in normalised image coordinates. */
struct Breaks {
    std::array<double, CALIBMAP_X_BREAK_COUNT> x;
    std::array<double, CALIBMAP_Y_BREAK_COUNT> y;
};

/** B-spline values or derivatives at sites, row-major, one row a site. */
struct Collocation {
    std::size_t rows;
    std::size_t cols;
    std::vector<double> values;
};

/** The values of all B-splines of this order at each site, as the library computes them. */
Collocation splinesAt(const std::vector<double>& breaks, int order,
                      const std::vector<double>& sites);

/** The derivatives of this degree of the same B-splines. */
Collocation derivativesAt(const std::vector<double>& breaks, int order, int degree,
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

/** The coefficients of a model, row-major, rows along y. */
struct Coefficients {
    std::array<double, CorrectionModel::coefficientCount> x;
    std::array<double, CorrectionModel::coefficientCount> y;
};

/** The model's value at a site. */
Point valueAt(const Coefficients& coefficients, const SiteSplines& site);

/** The model in the file's single precision. */
CorrectionModel storedModel(const Breaks& breaks, const Coefficients& coefficients);
