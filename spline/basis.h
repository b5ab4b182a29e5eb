/**
 * The values of all B-splines of one knot sequence and order at any site.
 */
#ifndef CALIBMAP_SPLINE_BASIS_H
#define CALIBMAP_SPLINE_BASIS_H

#include "calibmap.h"

namespace calibmap {

/**
 * What the B-splines of order k over the knots t(1) ... t(m) have in common at all sites. The knots
 * stay the caller's.
 *
 * At a site that lies in interval i, the one that begins at t(i), the k values that can be non-zero
 * are those of the B-splines i - k + 1 ... i. That the first knot is k-fold is taken for granted; a
 * sequence where it is not has its values shifted by as many columns as it lacks, or has too many.
 */
struct SplineBasis {
    VectorDouble intervals; /**< t(1) ... t(m - k): the knots at which an interval begins */
    double lastKnot;        /**< t(m) */
    double firstInterval;   /**< k: sites before its beginning belong to it, too */
    double surplus;         /**< by how much the first knot is more than k-fold, or 0 */
    int32_t order;          /**< k, which may have a fraction, as a number of values */
    int32_t splines;        /**< m - k likewise: values of a row */
    int32_t firstColumn;    /**< position, from 1, that goes to the first column of a row */
    bool isAscending; /**< none of `intervals` is a NaN: the search may begin at any of them */
};

/**
 * Describes the B-splines of order k over knots that satisfy what `spcol` asks for; `augLeft` is
 * what `augknt` gives for them.
 */
SplineBasis makeBasis(const VectorDouble& knots, double k, double augLeft);

/** Fills `count` rows of `basis.splines` values, one after the other: a row for each site. */
void evaluateSites(const SplineBasis& basis, const double* sites, int32_t count, double* rows);

}  // namespace calibmap

#endif
