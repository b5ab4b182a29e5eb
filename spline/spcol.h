/**
 * `spcol` for one site or for many: all that depends only on the knots and the order is checked and
 * created once, and then any number of sites is evaluated.
 */
#ifndef CALIBMAP_SPLINE_SPCOL_H
#define CALIBMAP_SPLINE_SPCOL_H

#include "spline/basis.h"

namespace calibmap {

/**
 * `spcol` without the values: a row for one site, and the basis that `evaluateSites` takes for it
 * and for others. Makes every check, asks for everything that a site's steps create, and compares
 * the live counts; null after a report, with nothing left, where any of it is refused.
 */
Mat* createRow(const VectorDouble* knots, double k, SplineBasis& basis);

}  // namespace calibmap

#endif
