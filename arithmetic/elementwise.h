/**
 * Element by element: kernels that write into a buffer that the caller provides and that overlaps
 * no operand. Every element is computed by the operations that the comment names, each rounded
 * once.
 */
#ifndef CALIBMAP_ARITHMETIC_ELEMENTWISE_H
#define CALIBMAP_ARITHMETIC_ELEMENTWISE_H

#include <stdint.h>

namespace calibmap {

/** result[i] = a[i] + b[i]. */
void addArrays(const double* a, const double* b, int64_t count, double* result);

/** result[i] = a[i] - b[i]. */
void subtractArrays(const double* a, const double* b, int64_t count, double* result);

/** result[i] = a[i] + k. */
void addScalar(const double* a, double k, int64_t count, double* result);

/** result[i] = a[i] - k. */
void subtractScalar(const double* a, double k, int64_t count, double* result);

/** result[i] = a[i] * k. */
void multiplyScalar(const double* a, double k, int64_t count, double* result);

/** result[i] = a[i] / k, for k other than zero. */
void divideScalar(const double* a, double k, int64_t count, double* result);

/**
 * x[i] = a[i], then y[i] = b[i], each rounded to the nearest float, ties to even. Only here the
 * results, a caller's arrays, may overlap each other: they are written in this order.
 */
void roundToFloats(const double* a, const double* b, int64_t count, float* x, float* y);

/** result (cols x rows) = transpose of a (rows x cols), bit for bit. */
void transpose(const double* a, int32_t rows, int32_t cols, double* result);

/** True when no element is infinite or NaN. */
bool allFinite(const double* a, int64_t count);

}  // namespace calibmap

#endif
