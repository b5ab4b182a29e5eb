/**
 * `spcol` for one site or for many: what depends only on the knots and the order is checked and
 * created once, then any number of sites is evaluated, then it is released.
 */
#ifndef CALIBMAP_SPLINE_SPCOL_H
#define CALIBMAP_SPLINE_SPCOL_H

#include "spline/basis.h"

namespace calibmap {

/**
 * What `spcol` creates for the sites of one knot sequence and order, in the order of creation. Most
 * of it only stands for a step and has no elements; what they would be is noted beside it.
 */
struct SiteTables {
    VectorDouble* diffKnots;
    VectorDouble* augknot;            /**< a copy of the knots */
    VectorDouble* augknotfrom1toNaug; /**< the first m - k knots */
    Mat* b;                           /**< 1 x k: the values that can be non-zero */
    Mat* cc;                          /**< the column that the values are scattered into */
    MatInt* mat1;
    MatInt* repMat1;        /**< 1 x k */
    MatInt* mat2;           /**< 1 x 1: position of the last value */
    MatInt* repMat2;        /**< 1 x k */
    MatInt* mat3;           /**< 1 x k: -(k - 1) ... 0 */
    MatInt* repMat3;        /**< 1 x k */
    MatInt* repMat1AndMat2; /**< 1 x k */
    MatInt* ccColIdx0;      /**< 1 x k: positions in `cc` that the values go to */
    MatInt* ccmat1;
    MatInt* ccrepmat1;    /**< 1 x n */
    MatInt* ccmat2;       /**< 1 x n: positions in `cc` that form the row */
    MatInt* ccrepmat2;    /**< 1 x n */
    MatInt* ccPartRowIdx; /**< 1 x n */
    Mat* ccPart;          /**< n x 1: the row as a column */
};

/**
 * Makes every check and creates what stands for the steps of a site, but for its row. Returns false
 * after a report, with everything released, where `spcol` refuses the knots or the order or the
 * heap is exhausted. `tables` starts as all null.
 */
bool createTables(const VectorDouble* knots, double k, SiteTables& tables, SplineBasis& basis);

/** A row for the values of one site, still without them; null after a report of no memory. */
Mat* createRow(const SplineBasis& basis);

/** Releases everything that has been created. */
void releaseTables(SiteTables& tables);

}  // namespace calibmap

#endif
