#include "spline/knots.h"

#include <algorithm>

#include "container/diagnostics.h"
#include "container/protocol.h"

namespace calibmap {

namespace {

bool hasNoElements(const VectorDouble* v) {
    return v == nullptr || v->size == 0;
}

/** True for a count that exists; computed in 64 bits, it cannot wrap into range. */
bool isCount(int64_t count) {
    return count >= 0 && count <= INT32_MAX;
}

}  // namespace

void reportNotTiled() {
    report("%s line:%d leave. createMatInt fail", "repmatInt", 225);
}

}  // namespace calibmap

using namespace calibmap;

VectorDouble* diff(const VectorDouble* src) {
    if (hasNoElements(src)) {
        report("%s line:%d leave. input param error", "diff", 28);
        return nullptr;
    }
    auto* differences = src->size > 0 ? createVectorDouble(src->size - 1) : nullptr;
    if (differences == nullptr) {
        report("%s line:%d leave. createVectorDouble error", "diff", 35);
        return nullptr;
    }
    for (int32_t i = 0; i < differences->size; ++i) {
        differences->data[i] = src->data[i + 1] - src->data[i];
    }
    return differences;
}

int32_t findBiggerBaseIdx(const VectorDouble* src, double value) {
    if (hasNoElements(src)) {
        report("%s line:%d leave. src empty", "findBiggerBaseIdx", 53);
        return -1;
    }
    for (int32_t i = 0; i < src->size; ++i) {
        const bool notGreater = src->data[i] <= value;  // false for a NaN, which counts as greater
        if (!notGreater) {
            return i + 1;
        }
    }
    return -1;
}

int32_t findSmallerBaseIdx(const VectorDouble* src, double value) {
    if (hasNoElements(src)) {
        report("%s line:%d leave. input para is empty", "findSmallerBaseIdx", 71);
        return 0;
    }
    int32_t count = 0;
    for (int32_t i = 0; i < src->size; ++i) {
        count += src->data[i] < value ? 1 : 0;
    }
    return count;
}

VectorDouble* augknt_init(const VectorDouble* breaks, int32_t k) {
    if (k < 0) {
        report("%s line:%d leave. k is a invalid value(%d)", "augknt_init", 108, k);
        return nullptr;
    }
    if (breaks == nullptr || breaks->size < 1) {
        return nullptr;
    }
    const int64_t count = int64_t{breaks->size} + 2 * int64_t{k} - 2;
    auto* knots = isCount(count) ? createVectorDouble(static_cast<int32_t>(count)) : nullptr;
    if (knots == nullptr) {
        return nullptr;
    }
    double* interior = std::fill_n(knots->data, k, breaks->data[0]);
    if (breaks->size >= 3) {
        std::copy(breaks->data + 1, breaks->data + breaks->size - 1, interior);
    }
    // One break point alone is first and last: the two runs share an element.
    std::fill(knots->data + count - k, knots->data + count, breaks->data[breaks->size - 1]);
    return knots;
}

int32_t augknt(const VectorDouble* knots, double* augLeft, double k) {
    if (k < 0) {
        report("%s line:%d leave. k < 0", "augknt", 137);
        return CALIBMAP_STEP_FAILED;
    }
    auto* dk = diff(knots);
    if (dk == nullptr) {
        report("%s line:%d leave. create dk vector fail", "augknt", 143);
        return CALIBMAP_STEP_FAILED;
    }
    const int32_t multiplicity = findBiggerBaseIdx(dk, 0.0);
    destroyVectorDouble(&dk);
    if (multiplicity == -1) {
        report("%s line:%d AUGKNT:toofewknots", "augknt", 149);
        return CALIBMAP_STEP_FAILED;
    }
    *augLeft = k - multiplicity;
    return CALIBMAP_SUCCESS;
}

double sorted(const VectorDouble* mesh, double site) {
    const int32_t n = mesh->size;
    if (n < 0 && mesh->data == nullptr) {
        return -1;
    }
    if (n == 0 || mesh->data[0] > site) {
        return 0;
    }
    for (int32_t p = 1; p < n; ++p) {
        if (mesh->data[p - 1] <= site && mesh->data[p] > site) {
            return p;
        }
    }
    return n < 0 ? -1 : n;
}

MatInt* repmatInt(const MatInt* src, int32_t rowReps, int32_t colReps) {
    if (rowReps < 1 || colReps < 1 || matIntSize(src) == 0) {
        report("%s line:%d leave. src input is invalid", "repmatInt", 215);
        return nullptr;
    }
    const int64_t rows = int64_t{src->rows} * rowReps;
    const int64_t cols = int64_t{src->cols} * colReps;
    const bool countable = isCount(rows) && isCount(cols);
    auto* tiled =
        countable ? allocateMatrix<MatInt>(static_cast<int32_t>(rows), static_cast<int32_t>(cols))
                  : nullptr;
    if (tiled == nullptr) {
        reportNotTiled();
        return nullptr;
    }
    int32_t* next = tiled->data;
    for (int32_t r = 0; r < tiled->rows; ++r) {
        const int32_t* row = src->data + int64_t{r % src->rows} * src->cols;
        for (int32_t copy = 0; copy < colReps; ++copy) {
            next = std::copy(row, row + src->cols, next);
        }
    }
    return tiled;
}

void meshgrid() {}

int32_t bsxfun_rdivied() {
    return 0;
}

int32_t bsxfun_minus() {
    return 0;
}
