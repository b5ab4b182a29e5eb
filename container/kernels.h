/**
 * The arithmetic of the containers: kernels that write into a buffer that the caller provides. The
 * matrix operations and the grid evaluation call the same ones. Results never overlap operands.
 *
 * Every element is computed by the operations that its comment names, in that order, each rounded
 * once; how many elements are computed at a time changes no bit, but for which NaN a NaN is.
 */
#ifndef CALIBMAP_CONTAINER_KERNELS_H
#define CALIBMAP_CONTAINER_KERNELS_H

#include <stdint.h>

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

/** The steps of `scaleRows`. */
struct Scaling {
    double factor;
    double offset;
    double shift;
    double divisor; /**< not zero */
};

/**
 * result[i] = (((a[i] * factor) + offset) + shift) / divisor, four operations, each rounded once,
 * for a contiguous block of rows whose results are `resultStride` doubles apart.
 */
void scaleRows(const double* a, const Scaling& scaling, int64_t rows, int64_t cols, double* result,
               int64_t resultStride);

/**
 * x[i] = a[i], then y[i] = b[i], each rounded to the nearest float, ties to even. Only here the
 * results, a caller's arrays, may overlap each other: they are written in this order.
 */
void roundToFloats(const double* a, const double* b, int64_t count, float* x, float* y);

/** result (cols x rows) = transpose of a (rows x cols), bit for bit. */
void transpose(const double* a, int32_t rows, int32_t cols, double* result);

/** True when no element is infinite or NaN. */
bool allFinite(const double* a, int64_t count);

/** Columns that are summed together: one cache line of doubles. */
inline constexpr int32_t tileWidth = 8;

/** The largest part of a right factor that is packed: 32 KiB, and mostly far less is used. */
inline constexpr int32_t packedTerms = 64;
inline constexpr int32_t packedWidth = 64;

/** Rows of a product that are worth one packing; the pages they write to stay in the TLB. */
inline constexpr int32_t packedRows = 64;

/**
 * Up to `packedWidth` neighbouring columns of the right factor of a product, prepared once and then
 * used for many rows of the left one: cut into tiles of `tileWidth` columns, the terms of a tile
 * one after the other, missing columns zero. A factor of more than `packedTerms` rows is read where
 * it stands.
 */
struct PackedColumns {
    /** Terms of one tile from the first to past the last that is not zero in every column. */
    struct Range {
        int32_t first;
        int32_t end;
    };
    alignas(64) double values[packedTerms * packedWidth];
    Range nonZero[packedWidth / tileWidth];
    const double* source;
    int32_t terms;
    int32_t stride;
    int32_t width;
};

/**
 * Prepares the `width` columns from `source` on of a right factor of `terms` rows that are `stride`
 * doubles apart.
 */
void packColumns(const double* source, int32_t terms, int32_t stride, int32_t width,
                 PackedColumns& columns);

/**
 * product (rows x columns.width) = left (rows x columns.terms) times the packed columns, the rows
 * of `left` and of `product` being `leftStride` and `productStride` doubles apart. Each element is
 * 0.0 + l[0] r[0] + l[1] r[1] + ... in ascending order, each product and each sum rounded once.
 *
 * `leftFinite` says that every element of `left` is finite. Then leading and trailing terms whose
 * right factors are all zero are left out: they add +0.0 or -0.0 to a sum that is never -0.0 (it
 * starts at +0.0, and rounding to nearest gives -0.0 only to a sum of two negative zeros), which
 * changes no bit. An infinite or NaN left factor makes NaN of a zero, so there all terms are
 * summed.
 */
void multiplyColumns(const double* left, int64_t leftStride, bool leftFinite, int32_t rows,
                     const PackedColumns& columns, double* product, int64_t productStride);

#endif
