/**
 * What the fuzz targets share. Standard output goes nowhere, but what is printed is still
 * formatted.
 */
#ifndef CALIBMAP_FUZZ_HARNESS_H
#define CALIBMAP_FUZZ_HARNESS_H

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "calibmap.h"

/** Stops at a claim that does not hold, so that the fuzzer keeps the input. */
void require(bool holds, const char* claim);

/** Larger blocks are refused, as on a device with little memory; here they would only cost time. */
inline constexpr size_t largestBlock = size_t{4} << 20U;

/**
 * The conditions of the following calls, none of which may change a result: what the heap's blocks
 * are full of, and how wide the kernels' vectors are, 2, 4 or 8 doubles if the machine has them.
 */
void runWith(uint8_t heapContent, uint32_t lanes);

/** Live matrices and live vectors. */
inline std::pair<int32_t, int32_t> liveObjects() {
    return {getTotalActiveMat(), getTotalActiveVectorCnt()};
}

/** Any bits, or quarters of small whole numbers, which meet each other more often. */
inline double anyNumber(FuzzedDataProvider& input) {
    return input.ConsumeBool() ? std::bit_cast<double>(input.ConsumeIntegral<uint64_t>())
                               : input.ConsumeIntegral<int8_t>() / 4.0;
}

/** A count up to `most`, or one beside a power of two, where products wrap around. */
inline int32_t anyCount(FuzzedDataProvider& input, uint32_t most) {
    const auto count = input.ConsumeIntegralInRange<uint32_t>(0, most);
    const auto choice = input.ConsumeIntegralInRange<uint32_t>(0, 255);
    const uint32_t power = 1U << choice % 32;
    return static_cast<int32_t>(choice < 192   ? count
                                : choice < 224 ? power + count
                                               : count - power);
}

/** Some conditions. */
inline void runWithAny(FuzzedDataProvider& input) {
    const auto content = input.ConsumeIntegral<uint8_t>();
    runWith(content, 2U << content % 3U);
}

/** Equal bits, all NaNs being one. */
inline bool same(double a, double b) {
    return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

/** Whether an array begins with these values. */
template <typename Element>
bool same(const std::vector<Element>& expected, const Element* data) {
    return std::equal(expected.begin(), expected.end(), data,
                      [](Element a, Element b) { return same(a, b); });
}

#endif
