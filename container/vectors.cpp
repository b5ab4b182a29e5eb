#include <stddef.h>
#include <stdio.h>

#include "container/diagnostics.h"
#include "container/protocol.h"

namespace calibmap {

namespace {

/** Every vector is a pointer and a count, padded to a second pointer where that is larger. */
template <typename Vector>
constexpr bool hasVectorLayout = offsetof(Vector, size) == sizeof(void*) &&
                                 sizeof(Vector) == 2 * sizeof(void*);
static_assert(hasVectorLayout<VectorDouble> && hasVectorLayout<VectorFloat> &&
              hasVectorLayout<VectorInt>);

template <typename Vector>
Vector* allocateVector(int32_t n) {
    auto* vector = allocateContainer<Vector>(n, n, gTotalVecCnt);
    if (vector != nullptr) {
        vector->size = n;
    }
    return vector;
}

template <typename Vector>
bool isEmpty(const Vector* v) {
    return v == nullptr || v->data == nullptr || v->size == 0;
}

void printElement(int32_t element) {
    printf("%d ", element);
}

void printElement(double element) {
    printf("%f ", element);
}

template <typename Vector>
void printElements(const Vector* v) {
    for (int32_t i = 0; i < v->size; ++i) {
        printElement(v->data[i]);
    }
}

/** The two array constructors, which report under their own name and at their own places. */
template <typename Source>
VectorDouble* vectorFromArray(const Source* array, int32_t n, const char* name, int32_t emptyLine,
                              int32_t createLine) {
    if (array == nullptr || n == 0) {
        report("%s line:%d leave. empty input", name, emptyLine);
        return nullptr;
    }
    auto* vector = createVectorDouble(n);
    if (vector == nullptr) {
        report("%s line:%d leave. create vecDouble fail.", name, createLine);
        return nullptr;
    }
    for (int32_t i = 0; i < n; ++i) {
        vector->data[i] = static_cast<double>(array[i]);
    }
    return vector;
}

}  // namespace

}  // namespace calibmap

using namespace calibmap;

VectorInt* createVectorInt(int32_t n) {
    return allocateVector<VectorInt>(n);
}

VectorFloat* createVectorFloat(int32_t n) {
    return allocateVector<VectorFloat>(n);
}

VectorDouble* createVectorDouble(int32_t n) {
    return allocateVector<VectorDouble>(n);
}

void destroyVectorInt(VectorInt** handle) {
    releaseContainer(handle, gTotalVecCnt);
}

void destroyVectorFloat(VectorFloat** handle) {
    releaseContainer(handle, gTotalVecCnt);
}

void destroyVectorDouble(VectorDouble** handle) {
    releaseContainer(handle, gTotalVecCnt);
}

VectorDouble* copyFromVector(const VectorDouble* src, int32_t n) {
    if (src == nullptr || n > src->size) {
        return nullptr;
    }
    auto* copy = createVectorDouble(n);
    if (copy != nullptr && n > 0) {
        memcpy(copy->data, src->data, static_cast<size_t>(n) * sizeof(double));
    }
    return copy;
}

VectorDouble* vectorCopyFromDoubleArray(const double* array, int32_t n) {
    return vectorFromArray(array, n, "vectorCopyFromDoubleArray", 131, 136);
}

VectorDouble* vectorCopyFromFloatArray(const float* array, int32_t n) {
    return vectorFromArray(array, n, "vectorCopyFromFloatArray", 146, 151);
}

int32_t vectorDoubleSize(const VectorDouble* v) {
    return v == nullptr
               ? 0
               : static_cast<int32_t>(static_cast<uint32_t>(v->size) * uint32_t{sizeof(double)});
}

void printVectorInt(const VectorInt* v) {
    if (!isEmpty(v)) {
        printElements(v);
        printf("\n ");
    }
}

void printVectorFloat(const VectorFloat* v) {
    if (!isEmpty(v)) {
        printElements(v);
        printf("\n ");
    }
}

void printVectorDouble(const VectorDouble* v) {
    if (!isEmpty(v)) {
        printf("\n ");
        printElements(v);
        puts("\n");
    }
}
