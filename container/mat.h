/**
 * What the grid evaluation needs of matrices beyond their exported operations: products whose
 * matrix is created in the order of the steps and computed later.
 */
#ifndef CALIBMAP_CONTAINER_MAT_H
#define CALIBMAP_CONTAINER_MAT_H

#include "calibmap.h"

namespace calibmap {

/** True when a and b are not empty and a.cols equals b.rows. */
bool isMultipliable(const Mat* a, const Mat* b);

/** The result of `matMul(a, b)` without its elements; null wherever that is null. */
Mat* createProduct(const Mat* a, const Mat* b);

/** Computes the elements of `product`, which `createProduct(&a, &b)` has made. */
void computeProduct(const Mat& a, const Mat& b, Mat& product);

}  // namespace calibmap

#endif
