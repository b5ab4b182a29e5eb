/**
 * Other ways to do what the library does, written as somebody would who wants them fast: from the
 * model in memory to the caller's arrays. Which of them exist depends on the packages found.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "calibration_image.h"
#include "measure.h"

/**
 * The file of a camera whose lens takes a point at (u, v), in normalised coordinates, to
 * (1 + bend * (u u + v v)) times that: a cubic, so its spline of order 7 is exact.
 */
Image lensImage(int32_t width, int32_t height);

/** The undistortion model of a calibration file, orders 7 and 7, and its camera. */
struct LensModel {
    static constexpr int32_t order = 7;
    static constexpr double bend = -0.2;

    explicit LensModel(const Image& image);

    int32_t width;
    int32_t height;
    double fx;
    double fy;
    double cx;
    double cy;
    std::vector<double> xBreaks;
    std::vector<double> yBreaks;
    std::vector<double> xCoefficients;  ///< row-major, a row for each B-spline along y
    std::vector<double> yCoefficients;
};

/** A contender that uses threads of its own: its time is that of a clock on the wall. */
inline const std::string openCvThreads = "OpenCV threads";

/** One contender; what it cannot do is null. */
struct Contender {
    std::string name;
    void (*mapToFloats)(const LensModel& lens, int32_t ratio, float* x, float* y);
    /** The same before the rounding to floats, which would hide differences, where that exists. */
    void (*mapToDoubles)(const LensModel& lens, int32_t ratio, double* x, double* y);
    double tolerance;  ///< how far in pixels its maps may be from ours
    /** Values of all B-splines over the break points at every site: a row for each site. */
    Buffer<double> (*collocate)(std::span<const double> breaks, std::span<const double> sites);
    Buffer<double> (*multiply)(const Mat& a, const Mat& b);
};

std::vector<Contender> contenders();

#ifdef CALIBMAP_BENCH_OPENCV
/** initUndistortRectifyMap for the lens itself, which needs no splines: in one thread, or in
 * several. */
void mapWithOpenCv(const LensModel& lens, int32_t ratio, float* x, float* y);
void mapWithOpenCvThreads(const LensModel& lens, int32_t ratio, float* x, float* y);
#endif
