/**
 * Vectors of doubles, and the choice of their width by the machine that the library runs on.
 *
 * A kernel is written once, for any number of lanes, and compiled once for each width. Every lane
 * holds one element of the result and computes it by the same operations in the same order, each
 * rounded once, so no bit depends on the width (but for which NaN a NaN is).
 */
#ifndef CALIBMAP_ARITHMETIC_LANES_H
#define CALIBMAP_ARITHMETIC_LANES_H

#include <float.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

#ifdef __FAST_MATH__
#error "the results are exact to the bit: fast-math must be off"
#endif
static_assert(FLT_EVAL_METHOD == 0, "every operation must round to its own type");

/** On a kernel: it becomes part of the function that is compiled for its vector width. */
#define CALIBMAP_KERNEL __attribute__((always_inline))

namespace calibmap {

/** Doubles in one vector register. */
template <int Count>
using Lanes = std::integral_constant<int, Count>;

template <typename Element, int Count>
struct VectorOf {
    using Type [[gnu::vector_size(Count * sizeof(Element))]] = Element;
};

/** As many doubles as there are lanes. */
template <int Count>
using Vector = typename VectorOf<double, Count>::Type;

/** The vector that begins at `from`, at any alignment. */
template <int Count>
CALIBMAP_KERNEL inline void load(const double* from, Vector<Count>& vector) {
    memcpy(&vector, from, sizeof vector);
}

/** Writes the lanes to `to` on, at any alignment. */
template <int Count>
CALIBMAP_KERNEL inline void store(const Vector<Count>& vector, double* to) {
    memcpy(to, &vector, sizeof vector);
}

/** The same with each lane rounded to the nearest float, ties to even. */
template <int Count>
CALIBMAP_KERNEL inline void store(const Vector<Count>& vector, float* to) {
    const auto rounded = __builtin_convertvector(vector, typename VectorOf<float, Count>::Type);
    memcpy(to, &rounded, sizeof rounded);
}

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
 * Runs a kernel with the widest vectors that the machine has; two lanes are what NEON, WebAssembly
 * and every x86-64 have. A function asks once for a whole loop, never once for each turn of it.
 */
template <typename Kernel>
CALIBMAP_KERNEL inline void run(Kernel kernel) {
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

}  // namespace calibmap

#endif
