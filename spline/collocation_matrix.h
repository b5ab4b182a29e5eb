/**
 * What the grid evaluation needs beyond `collocationMatrix`: the same, with only the leading sites
 * evaluated, for a caller that will not read the others.
 */
#ifndef CALIBMAP_SPLINE_COLLOCATION_MATRIX_H
#define CALIBMAP_SPLINE_COLLOCATION_MATRIX_H

#include "calibmap.h"

/**
 * `collocationMatrix` of full shape whose first `evaluatedSites` rows are computed; the others, and
 * the sites behind them, are never touched. It fails where `collocationMatrix` fails for those
 * sites.
 */
Mat* collocateLeadingSites(const VectorDouble* knots, int32_t k, const Mat* samplePoints,
                           int32_t evaluatedSites);

#endif
