/**
 * The protocol that all five containers share: a record and a buffer in two heap blocks, counted as
 * live from the moment both exist until they are released through the address of the handle.
 */
#ifndef CALIBMAP_CONTAINER_PROTOCOL_H
#define CALIBMAP_CONTAINER_PROTOCOL_H

#include <stdlib.h>
#include <string.h>

#include "calibmap.h"
#include "container/live_counts.h"

namespace calibmap {

/**
 * Buffers stay below 2^31 bytes: sizes are 32-bit signed numbers at the library's boundary, and no
 * crafted image size may claim more.
 */
inline constexpr int64_t bufferLimit = int64_t{1} << 31U;

/** True when `elements` elements of `elementSize` bytes make a buffer that may exist. */
constexpr bool withinLimit(int64_t elements, int64_t elementSize) {
    return elements >= 0 && elements < bufferLimit / elementSize;
}

/**
 * A block from the heap, or null. To compilers it is in use: they may leave out a request for
 * memory that nobody touches, and with it the refusal.
 */
inline void* requestBlock(size_t bytes) {
    void* block = malloc(bytes);
    __asm__ volatile("" : : "r"(block) : "memory");
    return block;
}

/**
 * Allocates a record for `elements` elements, whose content and counts are the caller's to set, and
 * a buffer that holds `held` of them, and adds one to `liveCount`. Null, with the count unchanged,
 * when a buffer for all elements may not exist or the heap is exhausted.
 */
template <typename Record>
Record* allocateContainer(int64_t elements, int64_t held, int32_t& liveCount) {
    constexpr auto elementSize = static_cast<int64_t>(sizeof(*Record::data));
    if (!withinLimit(elements, elementSize)) {
        return nullptr;
    }
    // An empty container is live too, also where malloc(0) gives null.
    const int64_t wanted = held > 0 ? held * elementSize : 1;
    auto* record = wanted > PTRDIFF_MAX ? nullptr : static_cast<Record*>(malloc(sizeof(Record)));
    if (record == nullptr) {
        return nullptr;
    }
    const auto bytes = static_cast<size_t>(wanted);
    record->data = static_cast<decltype(Record::data)>(requestBlock(bytes));
    if (record->data == nullptr) {
        free(record);
        return nullptr;
    }
    moveCount(liveCount, 1);
    return record;
}

/** Releases the container that `*handle` holds, clears the handle and takes one off the count. */
template <typename Record>
void releaseContainer(Record** handle, int32_t& liveCount) {
    if (handle == nullptr || *handle == nullptr) {
        return;
    }
    free((*handle)->data);
    (*handle)->data = nullptr;
    free(*handle);
    *handle = nullptr;
    moveCount(liveCount, -1);
}

/** Number of elements of a matrix. */
template <typename Matrix>
int64_t elementCount(const Matrix& m) {
    return int64_t{m.rows} * m.cols;
}

/** Size in bytes, 0 for none: the 32-bit product that the boundary documents. */
template <typename Matrix>
int32_t matrixSize(const Matrix* m) {
    if (m == nullptr || m->data == nullptr) {
        return 0;
    }
    return static_cast<int32_t>(static_cast<uint32_t>(m->rows) * static_cast<uint32_t>(m->cols) *
                                static_cast<uint32_t>(sizeof(*m->data)));
}

/** True when both matrices exist, are not empty and have the same shape. */
template <typename Matrix>
bool sameShape(const Matrix* a, const Matrix* b) {
    return matrixSize(a) != 0 && matrixSize(b) != 0 && a->rows == b->rows && a->cols == b->cols;
}

/** Gives a new matrix its shape, if there is one. */
template <typename Matrix>
Matrix* shaped(Matrix* matrix, int32_t rows, int32_t cols) {
    if (matrix != nullptr) {
        matrix->rows = rows;
        matrix->cols = cols;
    }
    return matrix;
}

/**
 * New matrix of the given shape with a buffer of our own layout, of `held` elements: for steps of a
 * computation that never have all their elements at once. Null as `allocateContainer`.
 */
template <typename Matrix>
Matrix* allocatePart(int32_t rows, int32_t cols, int64_t held) {
    return rows < 0 || cols < 0
               ? nullptr
               : shaped(allocateContainer<Matrix>(int64_t{rows} * cols, held, gMatCnt), rows, cols);
}

/** New matrix whose elements the caller overwrites; null as `allocateContainer`. */
template <typename Matrix>
Matrix* allocateMatrix(int32_t rows, int32_t cols) {
    return allocatePart<Matrix>(rows, cols, int64_t{rows} * cols);
}

/** New matrix of zeros; null as `allocateContainer`. */
template <typename Matrix>
Matrix* allocateZeroMatrix(int32_t rows, int32_t cols) {
    auto* matrix = allocateMatrix<Matrix>(rows, cols);
    if (matrix != nullptr) {
        memset(matrix->data, 0, static_cast<size_t>(elementCount(*matrix)) * sizeof(*matrix->data));
    }
    return matrix;
}

}  // namespace calibmap

#endif
