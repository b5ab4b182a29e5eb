/**
 * Division of many numbers by the same one.
 */
#ifndef CALIBMAP_ARITHMETIC_DIVISOR_H
#define CALIBMAP_ARITHMETIC_DIVISOR_H

#include <stdint.h>

#include <bit>

namespace calibmap {

/** The fraction of a double: all zero in a normal power of two, an infinity and zero. */
inline constexpr uint64_t fractionBits = (uint64_t{1} << 52U) - 1;

/** What numbers are divided by, and whether multiplying by the reciprocal gives the same. */
struct Divisor {
    double value;
    double reciprocal;
    bool multiplies;
};

/**
 * Where k is a power of two whose reciprocal exists, a / k and a * (1 / k) are the same real number
 * before their one rounding, so they are the same double. Multiplying is much faster.
 */
inline Divisor makeDivisor(double k) {
    const bool isPowerOfTwo = (std::bit_cast<uint64_t>(k) & fractionBits) == 0;
    const double reciprocal = isPowerOfTwo ? 1.0 / k : 0.0;  // of others it may overflow
    return {k, reciprocal, reciprocal != 0.0};
}

}  // namespace calibmap

#endif
