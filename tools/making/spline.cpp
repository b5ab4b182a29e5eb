#include "making/spline.h"

#include <algorithm>
#include <new>
#include <numeric>

#include "diagnostics.h"
#include "inspection/knots.h"
#include "inspection/mat_handle.h"

namespace {

template <class Axis>
std::vector<double> knotValues(const Axis& breaks, int order) {
    VectorDouble* knots = knotsOver(breaks, order);
    if (knots == nullptr) {
        throw std::bad_alloc();
    }
    std::vector<double> values(knots->data, knots->data + knots->size);
    destroyVectorDouble(&knots);
    return values;
}

/** Which piece holds a site; the last one holds its end, too. */
std::size_t pieceOf(const auto& breaks, double site) {
    const auto next = std::upper_bound(breaks.begin() + 1, breaks.end() - 1, site);
    return static_cast<std::size_t>(next - breaks.begin()) - 1;
}

}  // namespace

template <class Axis>
Collocation splinesAt(const Axis& breaks, int order, const std::vector<double>& sites) {
    std::vector<double> knotData = knotValues(breaks, order);
    std::vector<double> siteData = sites;
    const VectorDouble knots = {knotData.data(), static_cast<int32_t>(knotData.size())};
    const Mat column = {static_cast<int32_t>(sites.size()), 1, siteData.data()};
    const DiagnosticCapture capture;
    const MatHandle values(collocationMatrix(&knots, order, &column));
    if (values.get() == nullptr) {
        throw std::bad_alloc();
    }
    return Eigen::Map<const Collocation>(values->data, values->rows, values->cols);
}

template <class Axis>
Collocation derivativesAt(const Axis& breaks, int order, int degree,
                          const std::vector<double>& sites) {
    Collocation result = splinesAt(breaks, order - degree, sites);
    // Each step up: the derivative of B(i) of order k is (k - 1) times the difference of
    // B(i) / (t(i + k - 1) - t(i)) and its right neighbour, both of order k - 1.
    for (int k = order - degree + 1; k <= order; ++k) {
        const std::vector<double> knots = knotValues(breaks, k);
        Collocation raised = Collocation::Zero(result.rows(), result.cols() + 1);
        for (Eigen::Index i = 0; i < result.cols(); ++i) {
            const auto first = static_cast<std::size_t>(i);
            const double range = knots[first + static_cast<std::size_t>(k)] - knots[first + 1];
            raised.col(i) -= (k - 1) / range * result.col(i);
            raised.col(i + 1) += (k - 1) / range * result.col(i);
        }
        result = std::move(raised);
    }
    return result;
}

using XAxis = decltype(Breaks::x);
using YAxis = decltype(Breaks::y);
template Collocation splinesAt(const XAxis&, int, const std::vector<double>&);
template Collocation splinesAt(const YAxis&, int, const std::vector<double>&);
template Collocation derivativesAt(const XAxis&, int, int, const std::vector<double>&);
template Collocation derivativesAt(const YAxis&, int, int, const std::vector<double>&);

std::vector<SiteSplines> siteSplines(const Breaks& breaks, const std::vector<Point>& sites) {
    std::vector<double> xSites;
    std::vector<double> ySites;
    for (const Point& site : sites) {
        xSites.push_back(site.x);
        ySites.push_back(site.y);
    }
    const Collocation alongX = splinesAt(breaks.x, fittingShape.xOrder, xSites);
    const Collocation alongY = splinesAt(breaks.y, fittingShape.yOrder, ySites);
    std::vector<SiteSplines> result(sites.size());
    for (std::size_t i = 0; i < sites.size(); ++i) {
        SiteSplines& splines = result[i];
        splines.col = pieceOf(breaks.x, sites[i].x);
        splines.row = pieceOf(breaks.y, sites[i].y);
        const auto row = static_cast<Eigen::Index>(i);
        std::copy_n(alongX.row(row).data() + splines.col, splines.x.size(), splines.x.data());
        std::copy_n(alongY.row(row).data() + splines.row, splines.y.size(), splines.y.data());
    }
    return result;
}

Point splineValue(const Coefficients& coefficients, const SiteSplines& site) {
    Point result = {0, 0};
    for (std::size_t a = 0; a < site.y.size(); ++a) {
        const auto first =
            static_cast<Eigen::Index>((site.row + a) * CALIBMAP_CORRECTION_COLS + site.col);
        Point sum = {0, 0};
        for (std::size_t b = 0; b < site.x.size(); ++b) {
            sum.x += coefficients(first + static_cast<Eigen::Index>(b), 0) * site.x[b];
            sum.y += coefficients(first + static_cast<Eigen::Index>(b), 1) * site.x[b];
        }
        result = {result.x + site.y[a] * sum.x, result.y + site.y[a] * sum.y};
    }
    return result;
}

Coefficients identityCoefficients(const Breaks& breaks) {
    // The coefficient of the identity for a B-spline is the mean of its inner knots (Greville).
    const auto mean = [](const std::vector<double>& knots, Eigen::Index i, int order) {
        const auto inner = knots.begin() + i + 1;
        return std::accumulate(inner, inner + order - 1, 0.0) / (order - 1);
    };
    const std::vector<double> xKnots = knotValues(breaks.x, fittingShape.xOrder);
    const std::vector<double> yKnots = knotValues(breaks.y, fittingShape.yOrder);
    Coefficients result;
    for (Eigen::Index i = 0; i < result.rows(); ++i) {
        result(i, 0) = mean(xKnots, i % CALIBMAP_CORRECTION_COLS, fittingShape.xOrder);
        result(i, 1) = mean(yKnots, i / CALIBMAP_CORRECTION_COLS, fittingShape.yOrder);
    }
    return result;
}

CorrectionModel storedModel(const Breaks& breaks, const Coefficients& coefficients) {
    CorrectionModel model{};
    const auto narrow = [](const auto& from, auto& to) {
        std::transform(from.begin(), from.end(), to.begin(),
                       [](double value) { return static_cast<float>(value); });
    };
    narrow(breaks.x, model.xBreaks);
    narrow(breaks.y, model.yBreaks);
    narrow(coefficients.col(0), model.xCorrection);
    narrow(coefficients.col(1), model.yCorrection);
    return model;
}

Breaks breaksOf(const CorrectionModel& model) {
    Breaks breaks{};
    std::copy(model.xBreaks.begin(), model.xBreaks.end(), breaks.x.begin());
    std::copy(model.yBreaks.begin(), model.yBreaks.end(), breaks.y.begin());
    return breaks;
}

Coefficients coefficientsOf(const CorrectionModel& model) {
    Coefficients coefficients;
    std::copy(model.xCorrection.begin(), model.xCorrection.end(), coefficients.col(0).begin());
    std::copy(model.yCorrection.begin(), model.yCorrection.end(), coefficients.col(1).begin());
    return coefficients;
}
