#pragma once

#include <cstdint>
#include <string>

/**
 * What stands before the numbers of a map in a NumPy file of format 1.0: little-endian floats in
 * the shape (2, rows, cols), x before y.
 */
std::string npyHeader(int32_t rows, int32_t cols);
