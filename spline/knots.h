/**
 * What the evaluation of B-splines needs of the knot tools beyond their exported operations.
 */
#ifndef CALIBMAP_SPLINE_KNOTS_H
#define CALIBMAP_SPLINE_KNOTS_H

#include "calibmap.h"

namespace calibmap {

/** Hands on what has been allocated for `repmatInt`; where that is nothing, reports it in its name.
 */
MatInt* reportTiled(MatInt* tiled);

}  // namespace calibmap

#endif
