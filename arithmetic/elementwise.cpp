#include "arithmetic/elementwise.h"

#include <bit>

#include "arithmetic/divisor.h"
#include "arithmetic/lanes.h"

namespace calibmap {

namespace {

/** Applies `operation` to a copy of every element: to whole vectors, and to the rest one by one. */
template <int Count, typename Operation>
CALIBMAP_KERNEL inline void transform(Lanes<Count> /*lanes*/, const double* a, int64_t count,
                                      double* result, Operation operation) {
    int64_t i = 0;
    for (; i + Count <= count; i += Count) {
        Vector<Count> x;
        load<Count>(a + i, x);
        operation(x);
        store<Count>(x, result + i);
    }
    for (; i < count; ++i) {
        double x = a[i];
        operation(x);
        result[i] = x;
    }
}

/** The same for an operation of two operands. */
template <int Count, typename Operation>
CALIBMAP_KERNEL inline void transformPairs(Lanes<Count> /*lanes*/, const double* a, const double* b,
                                           int64_t count, double* result, Operation operation) {
    int64_t i = 0;
    for (; i + Count <= count; i += Count) {
        Vector<Count> x;
        Vector<Count> y;
        load<Count>(a + i, x);
        load<Count>(b + i, y);
        operation(x, y);
        store<Count>(x, result + i);
    }
    for (; i < count; ++i) {
        double x = a[i];
        operation(x, b[i]);
        result[i] = x;
    }
}

}  // namespace

void addArrays(const double* a, const double* b, int64_t count, double* result) {
    run([=](auto lanes) CALIBMAP_KERNEL {
        transformPairs(lanes, a, b, count, result,
                       [](auto& x, const auto& y) CALIBMAP_KERNEL { x += y; });
    });
}

void subtractArrays(const double* a, const double* b, int64_t count, double* result) {
    run([=](auto lanes) CALIBMAP_KERNEL {
        transformPairs(lanes, a, b, count, result,
                       [](auto& x, const auto& y) CALIBMAP_KERNEL { x -= y; });
    });
}

void addScalar(const double* a, double k, int64_t count, double* result) {
    run([=](auto lanes) CALIBMAP_KERNEL {
        transform(lanes, a, count, result, [=](auto& x) CALIBMAP_KERNEL { x += k; });
    });
}

void subtractScalar(const double* a, double k, int64_t count, double* result) {
    run([=](auto lanes) CALIBMAP_KERNEL {
        transform(lanes, a, count, result, [=](auto& x) CALIBMAP_KERNEL { x -= k; });
    });
}

void multiplyScalar(const double* a, double k, int64_t count, double* result) {
    run([=](auto lanes) CALIBMAP_KERNEL {
        transform(lanes, a, count, result, [=](auto& x) CALIBMAP_KERNEL { x *= k; });
    });
}

void divideScalar(const double* a, double k, int64_t count, double* result) {
    const Divisor divisor = makeDivisor(k);
    run([=](auto lanes) CALIBMAP_KERNEL {
        if (divisor.multiplies) {
            transform(lanes, a, count, result,
                      [=](auto& x) CALIBMAP_KERNEL { x *= divisor.reciprocal; });
        } else {
            transform(lanes, a, count, result,
                      [=](auto& x) CALIBMAP_KERNEL { x /= divisor.value; });
        }
    });
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
