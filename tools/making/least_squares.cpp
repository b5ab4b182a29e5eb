#include "making/least_squares.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

constexpr auto unknowns = static_cast<Eigen::Index>(CorrectionModel::coefficientCount);

using Square = Eigen::MatrixXd;

/** Left and right side of the normal equations, divided by the sum of the weights. */
struct NormalEquations {
    Square left;
    Coefficients right;
};

NormalEquations normalEquations(const Observations& observed) {
    NormalEquations equations{Square::Zero(unknowns, unknowns), Coefficients::Zero()};
    constexpr std::size_t cols = fittingShape.xOrder;
    std::array<double, cols * fittingShape.yOrder> row{};
    std::array<Eigen::Index, cols * fittingShape.yOrder> place{};
    double sum = 0;
    for (std::size_t i = 0; i < observed.sites.size(); ++i) {
        const SiteSplines& site = observed.sites[i];
        for (std::size_t k = 0; k < row.size(); ++k) {
            row[k] = site.y[k / cols] * site.x[k % cols];
            place[k] = static_cast<Eigen::Index>((site.row + k / cols) * CALIBMAP_CORRECTION_COLS +
                                                 site.col + k % cols);
        }
        const double weight = observed.weights[i];
        sum += weight;
        for (std::size_t k = 0; k < row.size(); ++k) {
            const double weighted = weight * row[k];
            equations.right(place[k], 0) += weighted * observed.values[i].x;
            equations.right(place[k], 1) += weighted * observed.values[i].y;
            double* const column = equations.left.data() + place[k] * unknowns;
            for (std::size_t l = k; l < row.size(); ++l) {
                column[place[l]] += weighted * row[l];
            }
        }
    }
    equations.left.triangularView<Eigen::StrictlyUpper>() = equations.left.transpose();
    equations.left /= sum;
    equations.right /= sum;
    return equations;
}

Square penaltyOf(const Roughness& roughness, double smoothing) {
    // So small a pull towards zero changes nothing that the observations or the smoothing tell, and
    // decides what neither does.
    constexpr double ridge = 1e-13;
    return smoothing * roughness + ridge * Square::Identity(unknowns, unknowns);
}

/** Mean over the axis of products of derivatives of this degree, with `unit` as unit of length. */
template <class Axis>
Square gramOver(const Axis& breaks, int order, int degree, double unit) {
    // Enough sites for a smooth integrand of low degree.
    constexpr int sitesPerPiece = 16;
    std::vector<double> sites;
    std::vector<double> lengths;
    for (std::size_t piece = 0; piece + 1 < breaks.size(); ++piece) {
        const double length = breaks[piece + 1] - breaks[piece];
        for (int i = 0; i < sitesPerPiece; ++i) {
            sites.push_back(breaks[piece] + length * (i + 0.5) / sitesPerPiece);
            lengths.push_back(length / sitesPerPiece / (breaks.back() - breaks.front()));
        }
    }
    const Collocation values = derivativesAt(breaks, order, degree, sites);
    const Eigen::Map<const Eigen::VectorXd> weights(lengths.data(), values.rows());
    return std::pow(unit, 2 * degree) * values.transpose() * weights.asDiagonal() * values;
}

}  // namespace

Roughness roughnessOver(const Breaks& breaks, double fx, double fy) {
    // The image's longer side in the units of each axis.
    const double width = (breaks.x.back() - breaks.x.front()) * fx;
    const double height = (breaks.y.back() - breaks.y.front()) * fy;
    const double side = std::max(width, height);
    std::array<Square, 3> alongX;
    std::array<Square, 3> alongY;
    for (int degree = 0; degree < 3; ++degree) {
        const auto i = static_cast<std::size_t>(degree);
        alongX[i] = gramOver(breaks.x, fittingShape.xOrder, degree, side / fx);
        alongY[i] = gramOver(breaks.y, fittingShape.yOrder, degree, side / fy);
    }
    Roughness form(unknowns, unknowns);
    constexpr Eigen::Index cols = CALIBMAP_CORRECTION_COLS;
    for (Eigen::Index i = 0; i < unknowns; ++i) {
        for (Eigen::Index j = 0; j < unknowns; ++j) {
            form(i, j) = alongX[2](i % cols, j % cols) * alongY[0](i / cols, j / cols) +
                         2 * alongX[1](i % cols, j % cols) * alongY[1](i / cols, j / cols) +
                         alongX[0](i % cols, j % cols) * alongY[2](i / cols, j / cols);
        }
    }
    return form;
}

std::vector<double> distancesFrom(const Coefficients& fitted, const Observations& observed) {
    std::vector<double> distances;
    for (std::size_t i = 0; i < observed.sites.size(); ++i) {
        const Point value = splineValue(fitted, observed.sites[i]);
        distances.push_back(
            std::hypot(value.x - observed.values[i].x, value.y - observed.values[i].y));
    }
    return distances;
}

Coefficients leastSquares(const Observations& observed, const Roughness& roughness,
                          double smoothing) {
    const NormalEquations equations = normalEquations(observed);
    const Eigen::LDLT<Square> solver(equations.left + penaltyOf(roughness, smoothing));
    return solver.solve(equations.right);
}

ValidatedFit crossValidated(const Observations& observed, const Roughness& roughness,
                            double least) {
    const NormalEquations equations = normalEquations(observed);
    const double sum = std::accumulate(observed.weights.begin(), observed.weights.end(), 0.0);
    ValidatedFit best{};
    double bestScore = std::numeric_limits<double>::infinity();
    double smoothing = least;
    while (smoothing <= 1e4) {
        const Eigen::LDLT<Square> solver(equations.left + penaltyOf(roughness, smoothing));
        const Coefficients coefficients = solver.solve(equations.right);
        const double freedom = Square(solver.solve(equations.left)).trace();
        const std::vector<double> distances = distancesFrom(coefficients, observed);
        double squares = 0;
        for (std::size_t i = 0; i < distances.size(); ++i) {
            squares += observed.weights[i] * distances[i] * distances[i];
        }
        const double score = squares / sum * validationFactor(freedom, sum);
        if (score <= bestScore) {
            bestScore = score;
            best = {coefficients, freedom};
        }
        smoothing *= 4;
    }
    return best;
}

double validationFactor(double freedom, double observations) {
    constexpr double emphasis = 1.4;
    const double spare = std::max(1 - emphasis * freedom / observations, 1e-6);
    return 1 / (spare * spare);
}
