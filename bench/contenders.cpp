#include "contenders.h"

#include <algorithm>

#ifdef CALIBMAP_BENCH_GSL
#include <gsl/gsl_bspline.h>
#include <gsl/gsl_cblas.h>
#endif
#ifdef CALIBMAP_BENCH_EIGEN
#include <Eigen/Core>
#endif

void deliverFloor(const LensModel& lens, int32_t ratio, float* x, float* y) {
    const auto count = static_cast<std::size_t>(lens.height / ratio) *
                       static_cast<std::size_t>(lens.width / ratio);
    const Buffer<double> xMap = allocate<double>(count);
    const Buffer<double> yMap = allocate<double>(count);
    std::fill_n(xMap.get(), count, lens.cx);
    std::fill_n(yMap.get(), count, lens.cy);
    // The compiler must not deliver what it knows to stand in the maps without reading them.
    asm volatile("" ::: "memory");
    std::copy_n(xMap.get(), count, x);
    std::copy_n(yMap.get(), count, y);
}

#ifdef CALIBMAP_BENCH_GSL
namespace {

Buffer<double> collocateWithGsl(std::span<const double> breaks, int32_t order,
                                std::span<const double> sites) {
    gsl_bspline_workspace* splines =
        gsl_bspline_alloc(static_cast<std::size_t>(order), breaks.size());
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
    Buffer<double> product =
        allocate<double>(static_cast<std::size_t>(a.rows) * static_cast<std::size_t>(b.cols));
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, a.rows, b.cols, a.cols, 1.0, a.data,
                a.cols, b.data, b.cols, 0.0, product.get(), b.cols);
    return product;
}

/** One axis of the map: its samples and the splines along it. */
struct Axis {
    int32_t samples;
    int32_t splines;
    Buffer<double> rows;  ///< the collocation matrix, samples x splines
    double scale;         ///< from normalised coordinates to samples: times this,
    double offset;        ///< plus this
};

Axis sampledAxis(std::span<const double> breaks, int32_t pixels, int32_t ratio, double focal,
                 double centre) {
    const int32_t count = pixels / ratio;
    std::vector<double> sites(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        const double position = (ratio - 1) * 0.5 + ratio * static_cast<double>(i);
        sites[static_cast<std::size_t>(i)] = (position - centre) / focal;
    }
    return {count, static_cast<int32_t>(breaks.size()) + LensModel::order - 2,
            collocateWithGsl(breaks, LensModel::order, sites), focal / ratio,
            (centre + 0.5 - ratio * 0.5) / ratio};
}

/** Delivers a map, scaled and rounded in one pass. */
template <typename Value>
void deliver(const double* map, std::size_t count, const Axis& axis, Value* result) {
    const double scale = axis.scale;
    const double offset = axis.offset;
    for (std::size_t i = 0; i < count; ++i) {
        result[i] = static_cast<Value>(map[i] * scale + offset);
    }
}

/** Both maps by one way of computing (y.rows * coefficients) * transpose of x.rows into a map. */
template <auto computeMap, typename Value>
void deliverMaps(const LensModel& lens, int32_t ratio, Value* x, Value* y) {
    const Axis xAxis = sampledAxis(lens.xBreaks, lens.width, ratio, lens.fx, lens.cx);
    const Axis yAxis = sampledAxis(lens.yBreaks, lens.height, ratio, lens.fy, lens.cy);
    const std::size_t count =
        static_cast<std::size_t>(xAxis.samples) * static_cast<std::size_t>(yAxis.samples);
    const Buffer<double> map = allocate<double>(count);
    computeMap(yAxis, lens.xCoefficients.data(), xAxis, map.get());
    deliver(map.get(), count, xAxis, x);
    computeMap(yAxis, lens.yCoefficients.data(), xAxis, map.get());
    deliver(map.get(), count, yAxis, y);
}

void computeWithGsl(const Axis& y, const double* coefficients, const Axis& x, double* map) {
    const Buffer<double> left =
        allocate<double>(static_cast<std::size_t>(y.samples) * static_cast<std::size_t>(x.splines));
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, y.samples, x.splines, y.splines, 1.0,
                y.rows.get(), y.splines, coefficients, x.splines, 0.0, left.get(), x.splines);
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasTrans, y.samples, x.samples, x.splines, 1.0,
                left.get(), x.splines, x.rows.get(), x.splines, 0.0, map, x.samples);
}

}  // namespace
#endif

#ifdef CALIBMAP_BENCH_EIGEN
namespace {

using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using MatrixMap = Eigen::Map<Matrix>;
using ConstMatrixMap = Eigen::Map<const Matrix>;

void computeWithEigen(const Axis& y, const double* coefficients, const Axis& x, double* map) {
    const ConstMatrixMap yRows(y.rows.get(), y.samples, y.splines);
    const ConstMatrixMap xRows(x.rows.get(), x.samples, x.splines);
    const Matrix left = yRows * ConstMatrixMap(coefficients, y.splines, x.splines);
    MatrixMap(map, y.samples, x.samples).noalias() = left * xRows.transpose();
}

Buffer<double> multiplyWithEigen(const Mat& a, const Mat& b) {
    Buffer<double> product =
        allocate<double>(static_cast<std::size_t>(a.rows) * static_cast<std::size_t>(b.cols));
    MatrixMap(product.get(), a.rows, b.cols).noalias() =
        ConstMatrixMap(a.data, a.rows, a.cols) * ConstMatrixMap(b.data, b.rows, b.cols);
    return product;
}

}  // namespace
#endif

std::vector<MapContender> mapContenders() {
    return {
#ifdef CALIBMAP_BENCH_GSL
        {"GSL", deliverMaps<computeWithGsl, float>, deliverMaps<computeWithGsl, double>},
#endif
#ifdef CALIBMAP_BENCH_EIGEN
        {"Eigen", deliverMaps<computeWithEigen, float>, deliverMaps<computeWithEigen, double>},
#endif
    };
}

std::vector<CollocationContender> collocationContenders() {
    return {
#ifdef CALIBMAP_BENCH_GSL
        {"GSL", collocateWithGsl},
#endif
    };
}

std::vector<ProductContender> productContenders() {
    return {
#ifdef CALIBMAP_BENCH_GSL
        {"GSL", multiplyWithGsl},
#endif
#ifdef CALIBMAP_BENCH_EIGEN
        {"Eigen", multiplyWithEigen},
#endif
    };
}
