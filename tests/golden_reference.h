// The numbers whose bits are promised: deterministic inputs, and a slow, plain evaluation of them
// that shares no code with the library, one operation after the other, each rounded once.
#ifndef GOLDEN_REFERENCE_H
#define GOLDEN_REFERENCE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "calibration_image.h"

namespace golden {

/** Row-major matrix. */
struct Matrix {
    int rows = 0;
    int cols = 0;
    std::vector<double> data;
};

/** Whoever evaluates the cases: the reference, or the library. */
struct Implementation {
    /** Values of the B-splines of an order over knots: one row per site, row after row. */
    std::function<std::vector<double>(const std::vector<double>& knots, int order,
                                      const std::vector<double>& sites)>
        collocation;
    /** Product of two matrices. */
    std::function<std::vector<double>(const Matrix& left, const Matrix& right)> product;
    /** Each element divided by a number that is not zero. */
    std::function<std::vector<double>(const Matrix& left, double divisor)> quotient;
    /** The x map, the y map, and both again rounded to float; nothing for a map without samples. */
    std::function<std::vector<double>(const Image& image, bool undistortion, int ratio)> maps;
};

/** The bit patterns of one case's numbers, all NaNs made one. */
struct Result {
    std::string name;
    std::vector<uint64_t> bits;
};

/** The plain evaluation. */
Implementation reference();

/** Evaluates every case. */
std::vector<Result> evaluate(const Implementation& use);

/** FNV-1a over the bits, least significant byte first, as 16 hexadecimal digits. */
std::string hash(const Result& result);

}  // namespace golden

#endif  // GOLDEN_REFERENCE_H
