/**
 * What the evaluation of B-splines needs of the knot tools beyond their exported operations.
 */
#ifndef CALIBMAP_SPLINE_KNOTS_H
#define CALIBMAP_SPLINE_KNOTS_H

#include "calibmap.h"

namespace calibmap {

/** Reports in the name of `repmatInt` that its result could not be created. */
void reportNotTiled();

}  // namespace calibmap

#endif
