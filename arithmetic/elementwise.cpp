#include "arithmetic/elementwise.h"

#include <bit>

#include "arithmetic/divisor.h"
#include "arithmetic/lanes.h"

namespace calibmap {

namespace {

/** Writes what `operation` gives for the number of each element. */
template <typename Operation>
CALIBMAP_KERNEL inline void transform(int64_t count, double* result, Operation operation) {
    run([=](auto /*lanes*/) CALIBMAP_KERNEL {
        for (int64_t i = 0; i < count; ++i) {
            result[i] = operation(i);
        }
    });
}

}  // namespace

void addArrays(const double* a, const double* b, int64_t count, double* result) {
    transform(count, result, [=](int64_t i) CALIBMAP_KERNEL { return a[i] + b[i]; });
}

void subtractArrays(const double* a, const double* b, int64_t count, double* result) {
    transform(count, result, [=](int64_t i) CALIBMAP_KERNEL { return a[i] - b[i]; });
}

void addScalar(const double* a, double k, int64_t count, double* result) {
    transform(count, result, [=](int64_t i) CALIBMAP_KERNEL { return a[i] + k; });
}

void subtractScalar(const double* a, double k, int64_t count, double* result) {
    transform(count, result, [=](int64_t i) CALIBMAP_KERNEL { return a[i] - k; });
}

void multiplyScalar(const double* a, double k, int64_t count, double* result) {
    transform(count, result, [=](int64_t i) CALIBMAP_KERNEL { return a[i] * k; });
}

void divideScalar(const double* a, double k, int64_t count, double* result) {
    const Divisor divisor = makeDivisor(k);
    if (divisor.multiplies) {
        multiplyScalar(a, divisor.reciprocal, count, result);
    } else {
        transform(count, result, [=](int64_t i) CALIBMAP_KERNEL { return a[i] / k; });
    }
}

void roundToFloats(const double* a, const double* b, int64_t count, float* x, float* y) {
    run([=](auto /*lanes*/) CALIBMAP_KERNEL {
        for (int64_t i = 0; i < count; ++i) {
            x[i] = static_cast<float>(a[i]);
            y[i] = static_cast<float>(b[i]);
        }
    });
}

void transpose(const double* a, int32_t rows, int32_t cols, double* result) {
    for (int32_t r = 0; r < rows; ++r) {
        for (int32_t c = 0; c < cols; ++c) {
            result[int64_t{c} * rows + r] = a[int64_t{r} * cols + c];
        }
    }
}

bool allFinite(const double* a, int64_t count) {
    uint64_t bits = 0;
    run([&](auto /*lanes*/) CALIBMAP_KERNEL {
        // The difference of a finite number and itself is +0.0, of another and itself a NaN.
        uint64_t differences = 0;
        for (int64_t i = 0; i < count; ++i) {
            differences |= std::bit_cast<uint64_t>(a[i] - a[i]);
        }
        bits = differences;
    });
    return bits << 1U == 0;
}

}  // namespace calibmap
