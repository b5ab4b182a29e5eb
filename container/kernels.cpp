#include "container/kernels.h"

#include <bit>
#include <cfloat>
#include <cstring>
#include <type_traits>

#ifdef __FAST_MATH__
#error "the results are exact to the bit: fast-math must be off"
#endif
static_assert(FLT_EVAL_METHOD == 0, "every operation must round to its own type");

namespace {

/** Doubles in one vector register. */
template <int Count>
using Lanes = std::integral_constant<int, Count>;

#ifdef __x86_64__
template <typename Kernel>
[[gnu::target("avx2")]] void runWithAvx2(Kernel kernel) {
    kernel(Lanes<4>{});
}

template <typename Kernel>
[[gnu::target("avx512f")]] void runWithAvx512(Kernel kernel) {
    kernel(Lanes<8>{});
}
#endif

/**
 * Runs a kernel with the widest vectors that the machine has. The kernel is compiled once for each
 * width, from one source: it computes the same elements by the same operations, so no bit depends
 * on the width (but for which NaN a NaN is). Two lanes are what NEON and every x86-64 have.
 */
template <typename Kernel>
[[gnu::always_inline]] inline void run(Kernel kernel) {
#ifdef __x86_64__
    // The first machines with eight lanes slow down when they use them; those with VBMI2 do not.
    if (__builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0) {
        runWithAvx512(kernel);
        return;
    }
    if (__builtin_cpu_supports("avx2") != 0) {
        runWithAvx2(kernel);
        return;
    }
#endif
    kernel(Lanes<2>{});
}

/** On a kernel: it becomes part of the function that is compiled for its vector width. */
#define CALIBMAP_KERNEL __attribute__((always_inline))

template <int Count>
struct VectorOf {
    using Type [[gnu::vector_size(Count * sizeof(double))]] = double;
};
template <int Count>
using Vector = typename VectorOf<Count>::Type;

/** Applies `operation` to a copy of every element: to whole vectors, and to the rest one by one. */
template <int Count, typename Operation>
[[gnu::always_inline]] inline void transform(Lanes<Count> /*lanes*/, const double* a, int64_t count,
                                             double* result, Operation operation) {
    int64_t i = 0;
    for (; i + Count <= count; i += Count) {
        Vector<Count> x;
        memcpy(&x, a + i, sizeof x);
        operation(x);
        memcpy(result + i, &x, sizeof x);
    }
    for (; i < count; ++i) {
        double x = a[i];
        operation(x);
        result[i] = x;
    }
}

/** The same for an operation of two operands. */
template <int Count, typename Operation>
[[gnu::always_inline]] inline void transformPairs(Lanes<Count> /*lanes*/, const double* a,
                                                  const double* b, int64_t count, double* result,
                                                  Operation operation) {
    int64_t i = 0;
    for (; i + Count <= count; i += Count) {
        Vector<Count> x;
        Vector<Count> y;
        memcpy(&x, a + i, sizeof x);
        memcpy(&y, b + i, sizeof y);
        operation(x, y);
        memcpy(result + i, &x, sizeof x);
    }
    for (; i < count; ++i) {
        double x = a[i];
        operation(x, b[i]);
        result[i] = x;
    }
}

/** The fraction of a double: all zero in a normal power of two, an infinity and zero. */
constexpr uint64_t fractionBits = (uint64_t{1} << 52U) - 1;

/** What an element is divided by, and whether multiplying gives the same. */
struct Divisor {
    double value;
    double reciprocal;
    bool multiplies;
};

/**
 * Where k is a power of two whose reciprocal exists, a / k and a * (1 / k) are the same real number
 * before their one rounding, so they are the same double. Multiplying is much faster.
 */
Divisor makeDivisor(double k) {
    const double reciprocal = 1.0 / k;
    const bool isPowerOfTwo = (std::bit_cast<uint64_t>(k) & fractionBits) == 0;
    return {k, reciprocal, isPowerOfTwo && reciprocal != 0.0};
}

/** True when one of `count` values is neither +0.0 nor -0.0. */
[[gnu::always_inline]] inline bool anyNonZero(const double* values, int32_t count) {
    uint64_t bits = 0;
    for (int32_t c = 0; c < count; ++c) {
        bits |= std::bit_cast<uint64_t>(values[c]) << 1U;  // all but the sign
    }
    return bits != 0;
}

/** Where the terms of one tile stand, and which of them are summed. */
struct Tile {
    const double* terms;
    int64_t stride;
    bool padded; /**< columns beyond the factor's last one may be read, too */
    PackedColumns::Range range;
};

/** One full tile of the product for `Rows` rows of the left factor; the sums stay in registers. */
template <int Rows, int Count>
[[gnu::always_inline]] inline void multiplyTile(const double* left, int64_t leftStride,
                                                const Tile& tile, double* product,
                                                int64_t productStride) {
    constexpr int vectors = tileWidth / Count;
    constexpr size_t vectorSize = Count * sizeof(double);
    Vector<Count> sums[Rows][vectors] = {};
    for (int32_t i = tile.range.first; i < tile.range.end; ++i) {
        Vector<Count> right[vectors];
        for (int v = 0; v < vectors; ++v) {
            memcpy(&right[v], tile.terms + i * tile.stride + int64_t{v} * Count, vectorSize);
        }
        for (int r = 0; r < Rows; ++r) {
            for (int v = 0; v < vectors; ++v) {
                sums[r][v] += left[r * leftStride + i] * right[v];
            }
        }
    }
    // Unrolled here, or GCC keeps the sums in memory all along.
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r) {
#pragma GCC unroll 8
        for (int v = 0; v < vectors; ++v) {
            memcpy(product + r * productStride + int64_t{v} * Count, &sums[r][v], vectorSize);
        }
    }
}

/** The `width` columns of an incomplete tile that is not packed. */
[[gnu::always_inline]] inline void multiplyEdge(const double* left, const Tile& tile, int32_t width,
                                                double* product) {
    for (int32_t c = 0; c < width; ++c) {
        double sum = 0.0;
        for (int32_t i = tile.range.first; i < tile.range.end; ++i) {
            sum += left[i] * tile.terms[i * tile.stride + c];
        }
        product[c] = sum;
    }
}

/** One tile of the product, complete or not, for `Rows` rows of the left factor. */
template <int Rows, int Count>
[[gnu::always_inline]] inline void multiplyRows(const double* left, int64_t leftStride,
                                                const Tile& tile, int32_t width, double* product,
                                                int64_t productStride) {
    if (width == tileWidth) {
        multiplyTile<Rows, Count>(left, leftStride, tile, product, productStride);
    } else if (tile.padded) {
        double sums[Rows * tileWidth];
        multiplyTile<Rows, Count>(left, leftStride, tile, sums, tileWidth);
        for (int r = 0; r < Rows; ++r) {
            memcpy(product + r * productStride, sums + int64_t{r} * tileWidth,
                   static_cast<size_t>(width) * sizeof(double));
        }
    } else {
        for (int r = 0; r < Rows; ++r) {
            multiplyEdge(left + r * leftStride, tile, width, product + r * productStride);
        }
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

void scaleRows(const double* a, const Scaling& scaling, int64_t rows, int64_t cols, double* result,
               int64_t resultStride) {
    const Divisor divisor = makeDivisor(scaling.divisor);
    const double factor = scaling.factor;
    const double offset = scaling.offset;
    const double shift = scaling.shift;
    run([=](auto lanes) CALIBMAP_KERNEL {
        for (int64_t r = 0; r < rows; ++r) {
            const double* from = a + r * cols;
            double* to = result + r * resultStride;
            if (divisor.multiplies) {
                transform(lanes, from, cols, to, [=](auto& x) CALIBMAP_KERNEL {
                    x = ((x * factor + offset) + shift) * divisor.reciprocal;
                });
            } else {
                transform(lanes, from, cols, to, [=](auto& x) CALIBMAP_KERNEL {
                    x = ((x * factor + offset) + shift) / divisor.value;
                });
            }
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
    for (int64_t i = 0; i < count; ++i) {
        if (a[i] - a[i] != 0.0) {
            return false;
        }
    }
    return true;
}

void packColumns(const double* source, int32_t terms, int32_t stride, int32_t width,
                 PackedColumns& columns) {
    columns.source = source;
    columns.terms = terms;
    columns.stride = stride;
    columns.width = width;
    const bool fits = terms <= packedTerms;
    for (int32_t c = 0; c < width; c += tileWidth) {
        const int32_t tileCols = width - c < tileWidth ? width - c : tileWidth;
        PackedColumns::Range range = {0, terms};
        while (range.first < terms &&
               !anyNonZero(source + int64_t{range.first} * stride + c, tileCols)) {
            ++range.first;
        }
        while (range.end > range.first &&
               !anyNonZero(source + int64_t{range.end - 1} * stride + c, tileCols)) {
            --range.end;
        }
        columns.nonZero[c / tileWidth] = range;
        double* packed = columns.values + int64_t{c} * packedTerms;
        for (int32_t i = 0; fits && i < terms; ++i, packed += tileWidth) {
            const double* term = source + int64_t{i} * stride + c;
            for (int32_t j = 0; j < tileWidth; ++j) {
                packed[j] = j < tileCols ? term[j] : 0.0;
            }
        }
    }
}

void multiplyColumns(const double* left, int64_t leftStride, bool leftFinite, int32_t rows,
                     const PackedColumns& columns, double* product, int64_t productStride) {
    const bool packed = columns.terms <= packedTerms;
    run([&](auto lanes) CALIBMAP_KERNEL {
        constexpr int count = decltype(lanes)::value;
        // Eight sums in flight hide the latency of an addition, and fit every register file.
        constexpr int rowGroup = count;
        for (int32_t c = 0; c < columns.width; c += tileWidth) {
            const int32_t rest = columns.width - c;
            const int32_t width = rest < tileWidth ? rest : tileWidth;
            Tile tile = {columns.source + c, columns.stride, packed, {0, columns.terms}};
            if (packed) {
                tile.terms = columns.values + int64_t{c} * packedTerms;
                tile.stride = tileWidth;
            }
            if (leftFinite) {
                tile.range = columns.nonZero[c / tileWidth];
            }
            int32_t r = 0;
            for (; r + rowGroup <= rows; r += rowGroup) {
                multiplyRows<rowGroup, count>(left + r * leftStride, leftStride, tile, width,
                                              product + r * productStride + c, productStride);
            }
            for (; r < rows; ++r) {
                multiplyRows<1, count>(left + r * leftStride, leftStride, tile, width,
                                       product + r * productStride + c, productStride);
            }
        }
    });
}
