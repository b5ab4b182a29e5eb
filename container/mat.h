/**
 * What the grid evaluation needs of matrices beyond their exported operations.
 */
#ifndef CALIBMAP_CONTAINER_MAT_H
#define CALIBMAP_CONTAINER_MAT_H

#include "calibmap.h"

namespace calibmap {

/** True when a and b are not empty and a.cols equals b.rows. */
bool isMultipliable(const Mat* a, const Mat* b);

}  // namespace calibmap

#endif
