#include "lens/fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "calibration/library_call.h"
#include "failure.h"

namespace {

using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

constexpr int sitesPerPiece = 24;

/**
 * Break points at even distances from the first to the last edge of the image, half a pixel beyond
 * the outermost pixel centres: a site outside the break points would evaluate to zero.
 */
template <class Breaks>
void spread(Breaks& breaks, int32_t pixels, double principal, double focal) {
    const auto pieces = static_cast<double>(breaks.size() - 1);
    for (std::size_t i = 0; i < breaks.size(); ++i) {
        const double position = -0.5 + pixels * static_cast<double>(i) / pieces;
        breaks[i] = static_cast<float>((position - principal) / focal);
    }
    const bool rising =
        std::adjacent_find(breaks.begin(), breaks.end(), std::greater_equal<>()) == breaks.end();
    if (!rising || !(breaks.front() < (0 - principal) / focal) ||
        !(breaks.back() > (pixels - 1 - principal) / focal)) {
        throw Failure("sample", "the image is too small a part of its plane for the file's numbers",
                      "move the principal point nearer or choose a shorter focal length");
    }
}

/** Sites between the first and last break point, denser towards both ends, where fits err most. */
template <class Breaks>
Matrix sitesOver(const Breaks& breaks) {
    const auto count = static_cast<Eigen::Index>(sitesPerPiece * (breaks.size() - 1));
    const double middle = (static_cast<double>(breaks.front()) + breaks.back()) / 2;
    const double half = (static_cast<double>(breaks.back()) - breaks.front()) / 2;
    Matrix sites(count, 1);
    for (Eigen::Index i = 0; i < count; ++i) {
        const double angle =
            std::numbers::pi * (static_cast<double>(i) + 0.5) / static_cast<double>(count);
        sites(i, 0) = middle - half * std::cos(angle);
    }
    return sites;
}

/** The values of all B-splines of one axis, one row per site. */
template <class Breaks>
Matrix splinesAt(const Breaks& breaks, int order, Matrix& sites) {
    const std::vector<double> widened(breaks.begin(), breaks.end());
    std::vector<double> breakData = widened;
    const VectorDouble breakPoints = {breakData.data(), static_cast<int32_t>(breakData.size())};
    const Mat column = {static_cast<int32_t>(sites.rows()), 1, sites.data()};
    VectorDouble* knots = augknt_init(&breakPoints, order);
    const MatHandle values(callLibrary(
        [&] { return knots == nullptr ? nullptr : collocationMatrix(knots, order, &column); }));
    destroyVectorDouble(&knots);
    if (values.get() == nullptr) {
        throw std::bad_alloc();
    }
    return Eigen::Map<const Matrix>(values->data, values->rows, values->cols);
}

}  // namespace

CorrectionModel fitModel(const Camera& camera, const std::function<Point(Point)>& target) {
    CorrectionModel model{};
    spread(model.xBreaks, camera.width, camera.cx, camera.fx);
    spread(model.yBreaks, camera.height, camera.cy, camera.fy);
    Matrix u = sitesOver(model.xBreaks);
    Matrix v = sitesOver(model.yBreaks);
    const Eigen::HouseholderQR<Matrix> alongX(splinesAt(model.xBreaks, fittingShape.xOrder, u));
    const Eigen::HouseholderQR<Matrix> alongY(splinesAt(model.yBreaks, fittingShape.yOrder, v));

    Matrix x(v.rows(), u.rows());
    Matrix y(v.rows(), u.rows());
    for (Eigen::Index j = 0; j < v.rows(); ++j) {
        for (Eigen::Index i = 0; i < u.rows(); ++i) {
            const Point value = target({u(i, 0), v(j, 0)});
            x(j, i) = value.x;
            y(j, i) = value.y;
        }
    }
    const auto solve = [&](const Matrix& values, auto& coefficients) {
        const Matrix rows = alongY.solve(values);
        const Matrix transposed = alongX.solve(Matrix(rows.transpose()));
        Eigen::Map<Eigen::Matrix<float, CALIBMAP_CORRECTION_ROWS, CALIBMAP_CORRECTION_COLS,
                                 Eigen::RowMajor>>(coefficients.data()) =
            transposed.transpose().cast<float>();
    };
    solve(x, model.xCorrection);
    solve(y, model.yCorrection);
    return model;
}
