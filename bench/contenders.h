/**
 * Other ways to do what the library does, written as somebody would who wants them fast: from the
 * model in memory to the caller's arrays. Which of them exist depends on the packages found.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "benchmark_case.h"
#include "calibmap.h"
#include "lens_model.h"

/** A way to compute the undistortion map, delivered as floats or, to be checked, as doubles. */
struct MapContender {
    std::string name;
    void (*deliverFloats)(const LensModel& lens, int32_t ratio, float* x, float* y);
    void (*deliverDoubles)(const LensModel& lens, int32_t ratio, double* x, double* y);
};

std::vector<MapContender> mapContenders();

/**
 * The least that any way can do which holds two maps of doubles: writes them, reads them back and
 * delivers them as floats, without arithmetic.
 */
void deliverFloor(const LensModel& lens, int32_t ratio, float* x, float* y);

/** A way to evaluate all B-splines over some break points at every site: one row for each site. */
struct CollocationContender {
    std::string name;
    Buffer<double> (*collocate)(std::span<const double> breaks, int32_t order,
                                std::span<const double> sites);
};

std::vector<CollocationContender> collocationContenders();

/** A way to multiply two row-major matrices. */
struct ProductContender {
    std::string name;
    Buffer<double> (*multiply)(const Mat& a, const Mat& b);
};

std::vector<ProductContender> productContenders();
