#include <stddef.h>
#include <stdio.h>

#include "container/protocol.h"

static_assert(offsetof(MatInt, cols) == 4 && offsetof(MatInt, data) == 8 &&
              sizeof(MatInt) == 8 + sizeof(void*));

using namespace calibmap;

int32_t matIntSize(const MatInt* m) {
    return matrixSize(m);
}

MatInt* createMatInt(int32_t rows, int32_t cols) {
    return allocateZeroMatrix<MatInt>(rows, cols);
}

void destroyMatInt(MatInt** handle) {
    releaseContainer(handle, gMatCnt);
}

MatInt* matIntAdd(const MatInt* a, const MatInt* b) {
    if (!sameShape(a, b)) {
        return nullptr;
    }
    auto* sum = allocateMatrix<MatInt>(a->rows, a->cols);
    if (sum == nullptr) {
        return nullptr;
    }
    for (int64_t i = 0; i < elementCount(*sum); ++i) {
        // Unsigned, because the sum wraps around at 32 bits.
        sum->data[i] = static_cast<int32_t>(static_cast<uint32_t>(a->data[i]) +
                                            static_cast<uint32_t>(b->data[i]));
    }
    return sum;
}

void printMatInt(const MatInt* m, int32_t rows, int32_t cols) {
    if (m == nullptr || rows < 1 || cols < 1 || rows > m->rows || cols > m->cols) {
        return;
    }
    putchar('\n');
    for (int32_t r = 0; r < rows; ++r) {
        for (int32_t c = 0; c < cols; ++c) {
            printf("%d ", m->data[int64_t{r} * m->cols + c]);
        }
        putchar('\n');
    }
}
