/**
 * The evaluation behind `spcol`, in three steps: what depends only on the knots and the order is
 * prepared once, then each site is evaluated on it and gives its row, then it is released. `spcol`
 * does all three for one site, `collocationMatrix` evaluates a whole column of sites between the
 * other two.
 */
#ifndef CALIBMAP_SPLINE_SPCOL_H
#define CALIBMAP_SPLINE_SPCOL_H

#include "calibmap.h"

/** Sites that are evaluated side by side, up to an order that fits the registers. */
inline constexpr int32_t siteGroup = 4;
inline constexpr int32_t groupOrder = 8;

/** What the recurrence gives for one group of sites. */
struct SiteGroup {
    double x[siteGroup];
    double sortidx[siteGroup];            /**< knots of `augknotfrom1toNaug` at or before x */
    double values[groupOrder][siteGroup]; /**< for orders up to `groupOrder` */
};

/**
 * Everything prepared for the sites of one knot sequence t(1) ... t(m) and order k. The handles
 * stand in the order of creation.
 *
 * The k values at a site are scattered into the scratch column `cc` at the positions `ccColIdx0`
 * and the row is gathered from it at the positions `ccPartRowIdx`; all positions count from 1. The
 * scatter positions are those of the first knot interval: for a later one they move by as many
 * places as it lies behind the first.
 */
struct SiteEvaluation {
    VectorDouble* diffKnots;
    VectorDouble* augknot;            /**< a copy of the knots */
    VectorDouble* augknotfrom1toNaug; /**< the first m - k knots */
    Mat* b;                           /**< 1 x k: the values that can be non-zero */
    Mat* cc;                          /**< scratch column, zeros between two sites */
    MatInt* mat1;                     /**< 1 x 1: 0 */
    MatInt* repMat1;                  /**< 1 x k */
    MatInt* mat2;           /**< 1 x 1: position of the last value of the first interval */
    MatInt* repMat2;        /**< 1 x k */
    MatInt* mat3;           /**< 1 x k: -(k - 1) ... 0 */
    MatInt* repMat3;        /**< 1 x k */
    MatInt* repMat1AndMat2; /**< 1 x k: repMat1 + repMat2 */
    MatInt* ccColIdx0;      /**< 1 x k: repMat1AndMat2 + repMat3 */
    MatInt* ccmat1;         /**< 1 x 1: 0 */
    MatInt* ccrepmat1;      /**< 1 x n */
    MatInt* ccmat2;         /**< 1 x n: the gather positions */
    MatInt* ccrepmat2;      /**< 1 x n */
    MatInt* ccPartRowIdx;   /**< 1 x n: ccrepmat2 + ccrepmat1 */
    Mat* ccPart;            /**< n x 1: the gathered values */
    double order;           /**< k */
    double augLeft;         /**< k minus the multiplicity of the first knot */
    SiteGroup group;
};

/**
 * Prepares the evaluation. Returns false after a report, with everything released, where `spcol`
 * refuses the knots or the order or the heap is exhausted. `evaluation` starts as all null.
 */
bool prepareSites(const VectorDouble* knots, double k, SiteEvaluation& evaluation);

/** Evaluates `count` sites, 1 to `siteGroup`, for `createSiteRow` to take. */
void evaluateSites(SiteEvaluation& evaluation, const double* x, int32_t count);

/**
 * The row of one site of the group, a new 1 x n matrix; null after a report, when the heap is
 * exhausted.
 */
Mat* createSiteRow(SiteEvaluation& evaluation, int32_t site);

/** Releases everything that has been prepared. */
void releaseSites(SiteEvaluation& evaluation);

#endif
