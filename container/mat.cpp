#include "container/mat.h"

#include <stddef.h>
#include <stdio.h>

#include "arithmetic/elementwise.h"
#include "arithmetic/product.h"
#include "container/diagnostics.h"
#include "container/protocol.h"

static_assert(offsetof(Mat, cols) == 4 && offsetof(Mat, data) == 8 &&
              sizeof(Mat) == 8 + sizeof(void*));

namespace calibmap {

namespace {

using ArrayKernel = void (*)(const double*, const double*, int64_t, double*);
using ScalarKernel = void (*)(const double*, double, int64_t, double*);

Mat* combine(const Mat* a, const Mat* b, ArrayKernel kernel) {
    if (!sameShape(a, b)) {
        return nullptr;
    }
    auto* result = allocateMatrix<Mat>(a->rows, a->cols);
    if (result != nullptr) {
        kernel(a->data, b->data, elementCount(*result), result->data);
    }
    return result;
}

Mat* combine(const Mat* a, double k, ScalarKernel kernel) {
    if (matrixSize(a) == 0) {
        return nullptr;
    }
    auto* result = allocateMatrix<Mat>(a->rows, a->cols);
    if (result != nullptr) {
        kernel(a->data, k, elementCount(*result), result->data);
    }
    return result;
}

/** New matrix of the same shape as a row-major array, holding a copy of it. */
Mat* copyOf(int32_t rows, int32_t cols, const double* array) {
    auto* copy = allocateMatrix<Mat>(rows, cols);
    if (copy != nullptr && elementCount(*copy) > 0) {
        memcpy(copy->data, array, static_cast<size_t>(elementCount(*copy)) * sizeof(double));
    }
    return copy;
}

}  // namespace

bool isMultipliable(const Mat* a, const Mat* b) {
    return matrixSize(a) != 0 && matrixSize(b) != 0 && a->cols == b->rows;
}

}  // namespace calibmap

using namespace calibmap;

int32_t matSize(const Mat* m) {
    return matrixSize(m);
}

int32_t getMatRows(const Mat* m) {
    return m == nullptr || m->data == nullptr ? 0 : m->rows;
}

int32_t getMatCols(const Mat* m) {
    return m == nullptr || m->data == nullptr ? 0 : m->cols;
}

double* getMatData(const Mat* m) {
    return m == nullptr ? nullptr : m->data;
}

Mat* createMat(int32_t rows, int32_t cols) {
    return allocateZeroMatrix<Mat>(rows, cols);
}

Mat* createMatFromArray(int32_t rows, int32_t cols, const double* array) {
    if (array == nullptr) {
        report("%s line:%d empty array", "createMatFromArray", 64);
        return nullptr;
    }
    auto* matrix = copyOf(rows, cols, array);
    if (matrix == nullptr) {
        report("%s line:%d empty outputMat", "createMatFromArray", 69);
    }
    return matrix;
}

Mat* cloneMat(const Mat* src) {
    return matrixSize(src) == 0 ? nullptr : copyOf(src->rows, src->cols, src->data);
}

void destroyMat(Mat** handle) {
    releaseContainer(handle, gMatCnt);
}

Mat* matAdd(const Mat* a, const Mat* b) {
    return combine(a, b, addArrays);
}

Mat* matSub(const Mat* a, const Mat* b) {
    return combine(a, b, subtractArrays);
}

Mat* matAddk(const Mat* a, double k) {
    return combine(a, k, addScalar);
}

Mat* matSubk(const Mat* a, double k) {
    return combine(a, k, subtractScalar);
}

Mat* matMulk(const Mat* a, double k) {
    return combine(a, k, multiplyScalar);
}

Mat* matDivk(const Mat* a, double k) {
    return k == 0.0 ? nullptr : combine(a, k, divideScalar);
}

Mat* matMul(const Mat* a, const Mat* b) {
    auto* product = isMultipliable(a, b) ? allocateMatrix<Mat>(a->rows, b->cols) : nullptr;
    if (product != nullptr) {
        multiply(a->data, b->data, a->rows, a->cols, b->cols, product->data);
    }
    return product;
}

Mat* matT(const Mat* a) {
    if (matrixSize(a) == 0) {
        return nullptr;
    }
    auto* result = allocateMatrix<Mat>(a->cols, a->rows);
    if (result != nullptr) {
        transpose(a->data, a->rows, a->cols, result->data);
    }
    return result;
}

void printMat(const Mat* m, int32_t rows, int32_t cols) {
    if (m == nullptr || rows < 0 || cols < 0 || cols > m->cols || rows > m->rows) {
        return;
    }
    puts("\n");
    for (int32_t r = 0; r < rows; ++r) {
        for (int32_t c = 0; c < cols; ++c) {
            printf("%f ", m->data[int64_t{r} * m->cols + c]);
        }
        putchar('\n');
    }
    putchar('\n');
}

void printMatRow(const Mat* m, int32_t row) {
    if (m == nullptr || row < 0 || row >= m->rows) {
        return;
    }
    putchar('\n');
    for (int32_t c = 0; c < m->cols; ++c) {
        printf("%f ", m->data[int64_t{row} * m->cols + c]);
    }
    putchar('\n');
}
