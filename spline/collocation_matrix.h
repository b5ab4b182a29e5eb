/**
 * What the grid evaluation needs beyond `collocationMatrix`: a matrix that is created, with every
 * check that can refuse it, in the order of the steps, and whose rows are computed later.
 */
#ifndef CALIBMAP_SPLINE_COLLOCATION_MATRIX_H
#define CALIBMAP_SPLINE_COLLOCATION_MATRIX_H

#include "spline/basis.h"

namespace calibmap {

/**
 * `collocationMatrix` without its elements, and the basis that `evaluateSites` takes for them; null
 * wherever `collocationMatrix` is null. Of the sites only the number is read. The buffer holds
 * `heldRows` rows, or all when there are fewer.
 */
Mat* createCollocation(const VectorDouble* knots, int32_t k, const Mat* samplePoints,
                       int32_t heldRows, SplineBasis& basis);

}  // namespace calibmap

#endif
