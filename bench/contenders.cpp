#include "contenders.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#ifdef CALIBMAP_BENCH_GSL
#include <gsl/gsl_bspline.h>
#include <gsl/gsl_cblas.h>
#endif
#ifdef CALIBMAP_BENCH_EIGEN
#include <Eigen/Core>
#endif

namespace {

std::vector<double> widened(const uint8_t* field, std::size_t count) {
    std::vector<float> values(count);
    std::memcpy(values.data(), field, count * sizeof(float));
    return {values.begin(), values.end()};
}

std::size_t product(int32_t rows, int32_t cols) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
}

/** The least that any way can do: it writes the caller's arrays. */
void deliverFloor(const LensModel& lens, int32_t ratio, float* x, float* y) {
    const std::size_t count = product(lens.height / ratio, lens.width / ratio);
    std::fill_n(x, count, static_cast<float>(lens.cx));
    std::fill_n(y, count, static_cast<float>(lens.cy));
}

#ifdef CALIBMAP_BENCH_GSL
Buffer<double> collocateWithGsl(std::span<const double> breaks, std::span<const double> sites) {
    gsl_bspline_workspace* splines = gsl_bspline_alloc(LensModel::order, breaks.size());
    const gsl_vector_const_view points = gsl_vector_const_view_array(breaks.data(), breaks.size());
    gsl_bspline_knots(&points.vector, splines);
    const std::size_t cols = gsl_bspline_ncoeffs(splines);
    Buffer<double> rows = allocate<double>(sites.size() * cols);
    for (std::size_t i = 0; i < sites.size(); ++i) {
        gsl_vector_view row = gsl_vector_view_array(rows.get() + i * cols, cols);
        gsl_bspline_eval(sites[i], &row.vector, splines);
    }
    gsl_bspline_free(splines);
    return rows;
}

Buffer<double> multiplyWithGsl(const Mat& a, const Mat& b) {
    Buffer<double> result = allocate<double>(product(a.rows, b.cols));
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, a.rows, b.cols, a.cols, 1.0, a.data,
                a.cols, b.data, b.cols, 0.0, result.get(), b.cols);
    return result;
}

/** One axis of a map. A value v in normalised coordinates is scale * v + offset in samples. */
struct Axis {
    int32_t samples;
    int32_t splines;
    Buffer<double> rows;  ///< the collocation matrix, samples x splines
    double scale;
    double offset;
};

Axis sampledAxis(std::span<const double> breaks, int32_t pixels, int32_t ratio, double focal,
                 double centre) {
    std::vector<double> sites(static_cast<std::size_t>(pixels / ratio));
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const double pixel = (ratio - 1) * 0.5 + ratio * static_cast<double>(i);
        sites[i] = (pixel - centre) / focal;
    }
    return {pixels / ratio, static_cast<int32_t>(breaks.size()) + LensModel::order - 2,
            collocateWithGsl(breaks, sites), focal / ratio, (centre + 0.5 - ratio * 0.5) / ratio};
}

/** Scales and rounds a map in one pass. */
template <typename Value>
void deliver(const double* map, std::size_t count, double scale, double offset, Value* result) {
    for (std::size_t i = 0; i < count; ++i) {
        result[i] = static_cast<Value>(map[i] * scale + offset);
    }
}

/** Both maps, one after the other in the same memory, by one library's way to compute a map. */
template <auto computeMap, typename Value>
void deliverMaps(const LensModel& lens, int32_t ratio, Value* x, Value* y) {
    const Axis xAxis = sampledAxis(lens.xBreaks, lens.width, ratio, lens.fx, lens.cx);
    const Axis yAxis = sampledAxis(lens.yBreaks, lens.height, ratio, lens.fy, lens.cy);
    const std::size_t count = product(yAxis.samples, xAxis.samples);
    const Buffer<double> map = allocate<double>(count);
    computeMap(yAxis, lens.xCoefficients.data(), xAxis, map.get());
    deliver(map.get(), count, xAxis.scale, xAxis.offset, x);
    computeMap(yAxis, lens.yCoefficients.data(), xAxis, map.get());
    deliver(map.get(), count, yAxis.scale, yAxis.offset, y);
}

void computeWithGsl(const Axis& y, const double* coefficients, const Axis& x, double* map) {
    const Buffer<double> left = allocate<double>(product(y.samples, x.splines));
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, y.samples, x.splines, y.splines, 1.0,
                y.rows.get(), y.splines, coefficients, x.splines, 0.0, left.get(), x.splines);
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasTrans, y.samples, x.samples, x.splines, 1.0,
                left.get(), x.splines, x.rows.get(), x.splines, 0.0, map, x.samples);
}
#endif

#ifdef CALIBMAP_BENCH_EIGEN
using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using ConstMatrixMap = Eigen::Map<const Matrix>;

void computeWithEigen(const Axis& y, const double* coefficients, const Axis& x, double* map) {
    const ConstMatrixMap yRows(y.rows.get(), y.samples, y.splines);
    const ConstMatrixMap xRows(x.rows.get(), x.samples, x.splines);
    const Matrix left = yRows * ConstMatrixMap(coefficients, y.splines, x.splines);
    Eigen::Map<Matrix>(map, y.samples, x.samples).noalias() = left * xRows.transpose();
}

Buffer<double> multiplyWithEigen(const Mat& a, const Mat& b) {
    Buffer<double> result = allocate<double>(product(a.rows, b.cols));
    Eigen::Map<Matrix>(result.get(), a.rows, b.cols).noalias() =
        ConstMatrixMap(a.data, a.rows, a.cols) * ConstMatrixMap(b.data, b.rows, b.cols);
    return result;
}
#endif

/** Coefficients of t, t^2 and t^3 as splines of order 7. */
struct Powers {
    std::vector<double> first;
    std::vector<double> second;
    std::vector<double> third;
};

/**
 * A coefficient is the power's polar form at the six knots inside the B-spline's support: the mean
 * of all products of one, two or three different ones of them.
 */
Powers powers(std::vector<double> knots) {
    constexpr int inside = LensModel::order - 1;
    knots.insert(knots.begin(), inside, knots.front());
    knots.insert(knots.end(), inside, knots.back());
    Powers coefficients;
    for (auto first = knots.begin() + 1; first + inside != knots.end(); ++first) {
        double ones = 0.0;
        double twos = 0.0;
        double threes = 0.0;
        std::for_each(first, first + inside, [&](double t) {
            threes += twos * t;
            twos += ones * t;
            ones += t;
        });
        coefficients.first.push_back(ones / 6);
        coefficients.second.push_back(twos / 15);
        coefficients.third.push_back(threes / 20);
    }
    return coefficients;
}

}  // namespace

Image lensImage(int32_t width, int32_t height) {
    const auto focal = 0.66F * static_cast<float>(width);
    const Recipe recipe = {.width = width,
                           .height = height,
                           .camera = {focal, focal, 0.498F * static_cast<float>(width),
                                      0.505F * static_cast<float>(height)}};
    Image image = unsealedImage(recipe);
    const Powers us = powers(evenBreaks(CALIBMAP_X_BREAK_COUNT, width, focal, recipe.camera[2]));
    const Powers vs = powers(evenBreaks(CALIBMAP_Y_BREAK_COUNT, height, focal, recipe.camera[3]));
    std::vector<double> x;
    std::vector<double> y;
    for (std::size_t i = 0; i < us.first.size() * vs.first.size(); ++i) {
        const std::size_t u = i % us.first.size();
        const std::size_t v = i / us.first.size();
        x.push_back(us.first[u] + LensModel::bend * (us.third[u] + us.first[u] * vs.second[v]));
        y.push_back(vs.first[v] + LensModel::bend * (vs.third[v] + vs.first[v] * us.second[u]));
    }
    set(image.data(), "undistortion.x", x);
    set(image.data(), "undistortion.y", y);
    seal(image.data());
    return image;
}

LensModel::LensModel(const Image& image)
    : width(extractMainCameraIntrn(image.data()).imageWidth),
      height(extractMainCameraIntrn(image.data()).imageHeight),
      fx(extractMainCameraIntrn(image.data()).fx),
      fy(extractMainCameraIntrn(image.data()).fy),
      cx(extractMainCameraIntrn(image.data()).cx),
      cy(extractMainCameraIntrn(image.data()).cy) {
    constexpr std::size_t coefficients =
        std::size_t{CALIBMAP_CORRECTION_ROWS} * CALIBMAP_CORRECTION_COLS;
    const uint8_t* model = image.data() + CALIBMAP_MAIN_BLOCK + CALIBMAP_UNDISTORTION_MODEL;
    xBreaks = widened(model + CALIBMAP_X_BREAKS, CALIBMAP_X_BREAK_COUNT);
    yBreaks = widened(model + CALIBMAP_Y_BREAKS, CALIBMAP_Y_BREAK_COUNT);
    xCoefficients = widened(model + CALIBMAP_X_CORRECTION, coefficients);
    yCoefficients = widened(model + CALIBMAP_Y_CORRECTION, coefficients);
}

std::vector<Contender> contenders() {
    return {
#ifdef CALIBMAP_BENCH_GSL
        {"GSL", deliverMaps<computeWithGsl, float>, deliverMaps<computeWithGsl, double>, 1e-9,
         collocateWithGsl, multiplyWithGsl},
#endif
#ifdef CALIBMAP_BENCH_EIGEN
        {"Eigen", deliverMaps<computeWithEigen, float>, deliverMaps<computeWithEigen, double>, 1e-9,
         nullptr, multiplyWithEigen},
#endif
#ifdef CALIBMAP_BENCH_OPENCV
        // The coefficients in the file are floats, and so are its maps.
        {"OpenCV", mapWithOpenCv, nullptr, 2e-3, nullptr, nullptr},
        {openCvThreads, mapWithOpenCvThreads, nullptr, 2e-3, nullptr, nullptr},
#endif
        {"floor", deliverFloor, nullptr, INFINITY, nullptr, nullptr},
    };
}
