#include "making/spline.h"

#include <algorithm>
#include <new>

#include "diagnostics.h"
#include "inspection/mat_handle.h"

namespace {

/** The knots over these break points: the first and the last one `order` times. */
std::vector<double> knotsOver(const std::vector<double>& breaks, int order) {
    const auto more = static_cast<std::size_t>(order - 1);
    std::vector<double> knots(more, breaks.front());
    knots.insert(knots.end(), breaks.begin(), breaks.end());
    knots.insert(knots.end(), more, breaks.back());
    return knots;
}

/** Which piece holds a site; the last one holds its end, too. */
std::size_t pieceOf(const auto& breaks, double site) {
    const auto next = std::upper_bound(breaks.begin() + 1, breaks.end() - 1, site);
    return static_cast<std::size_t>(next - breaks.begin()) - 1;
}

}  // namespace

Collocation splinesAt(const std::vector<double>& breaks, int order,
                      const std::vector<double>& sites) {
    std::vector<double> breakData = breaks;
    std::vector<double> siteData = sites;
    const VectorDouble breakPoints = {breakData.data(), static_cast<int32_t>(breakData.size())};
    const Mat column = {static_cast<int32_t>(sites.size()), 1, siteData.data()};
    VectorDouble* knots = augknt_init(&breakPoints, order);
    const DiagnosticCapture capture;
    const MatHandle values(knots == nullptr ? nullptr : collocationMatrix(knots, order, &column));
    destroyVectorDouble(&knots);
    if (values.get() == nullptr) {
        throw std::bad_alloc();
    }
    const auto rows = static_cast<std::size_t>(values->rows);
    const auto cols = static_cast<std::size_t>(values->cols);
    return {rows, cols, {values->data, values->data + rows * cols}};
}

Collocation derivativesAt(const std::vector<double>& breaks, int order, int degree,
                          const std::vector<double>& sites) {
    Collocation result = splinesAt(breaks, order - degree, sites);
    // Each step up: the derivative of B(i) of order k is (k - 1) times the difference of
    // B(i) / (t(i + k - 1) - t(i)) and its right neighbour, both of order k - 1.
    for (int k = order - degree + 1; k <= order; ++k) {
        const std::vector<double> knots = knotsOver(breaks, k);
        const std::size_t cols = result.cols + 1;
        std::vector<double> raised(result.rows * cols, 0.0);
        for (std::size_t i = 0; i < result.cols; ++i) {
            const double factor = (k - 1) / (knots[i + static_cast<std::size_t>(k)] - knots[i + 1]);
            for (std::size_t row = 0; row < result.rows; ++row) {
                const double value = factor * result.values[row * result.cols + i];
                raised[row * cols + i] -= value;
                raised[row * cols + i + 1] += value;
            }
        }
        result.cols = cols;
        result.values = std::move(raised);
    }
    return result;
}

std::vector<SiteSplines> siteSplines(const Breaks& breaks, const std::vector<Point>& sites) {
    std::vector<double> xSites;
    std::vector<double> ySites;
    for (const Point& site : sites) {
        xSites.push_back(site.x);
        ySites.push_back(site.y);
    }
    const Collocation alongX =
        splinesAt({breaks.x.begin(), breaks.x.end()}, fittingShape.xOrder, xSites);
    const Collocation alongY =
        splinesAt({breaks.y.begin(), breaks.y.end()}, fittingShape.yOrder, ySites);
    std::vector<SiteSplines> result(sites.size());
    for (std::size_t i = 0; i < sites.size(); ++i) {
        SiteSplines& splines = result[i];
        splines.col = pieceOf(breaks.x, sites[i].x);
        splines.row = pieceOf(breaks.y, sites[i].y);
        std::copy_n(alongX.values.data() + i * alongX.cols + splines.col, splines.x.size(),
                    splines.x.data());
        std::copy_n(alongY.values.data() + i * alongY.cols + splines.row, splines.y.size(),
                    splines.y.data());
    }
    return result;
}

Point valueAt(const Coefficients& coefficients, const SiteSplines& site) {
    Point result = {0, 0};
    for (std::size_t a = 0; a < site.y.size(); ++a) {
        const std::size_t first = (site.row + a) * CALIBMAP_CORRECTION_COLS + site.col;
        Point sum = {0, 0};
        for (std::size_t b = 0; b < site.x.size(); ++b) {
            sum.x += coefficients.x[first + b] * site.x[b];
            sum.y += coefficients.y[first + b] * site.x[b];
        }
        result = {result.x + site.y[a] * sum.x, result.y + site.y[a] * sum.y};
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
    narrow(coefficients.x, model.xCorrection);
    narrow(coefficients.y, model.yCorrection);
    return model;
}
