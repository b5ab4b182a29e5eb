/**
 * The product of two matrices.
 */
#ifndef CALIBMAP_ARITHMETIC_PRODUCT_H
#define CALIBMAP_ARITHMETIC_PRODUCT_H

#include <stdint.h>

namespace calibmap {

/**
 * product (rows x cols) = left (rows x terms) times right (terms x cols), all row-major and apart
 * from each other. Each element is 0.0 + l[0] r[0] + l[1] r[1] + ... in ascending order, each
 * product and each sum rounded once.
 */
void multiply(const double* left, const double* right, int32_t rows, int32_t terms, int32_t cols,
              double* product);

}  // namespace calibmap

#endif
