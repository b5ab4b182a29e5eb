#include "making/least_squares.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr auto unknowns = static_cast<Eigen::Index>(CorrectionModel::coefficientCount);

using Square = Eigen::MatrixXd;
using BothCoordinates = Eigen::Matrix<double, unknowns, 2>;

/** Left and right side of the normal equations, divided by the sum of the weights. */
struct NormalEquations {
    Square left;
    BothCoordinates right;
};

NormalEquations normalEquations(const Observations& observed) {
    NormalEquations equations{Square::Zero(unknowns, unknowns), BothCoordinates::Zero()};
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
    return smoothing * Eigen::Map<const Square>(roughness.form.data(), unknowns, unknowns) +
           ridge * Square::Identity(unknowns, unknowns);
}

Coefficients unpacked(const BothCoordinates& solution) {
    Coefficients coefficients{};
    for (Eigen::Index i = 0; i < unknowns; ++i) {
        coefficients.x[static_cast<std::size_t>(i)] = solution(i, 0);
        coefficients.y[static_cast<std::size_t>(i)] = solution(i, 1);
    }
    return coefficients;
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
    const Collocation splines = derivativesAt({breaks.begin(), breaks.end()}, order, degree, sites);
    using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    const Eigen::Map<const RowMajor> values(splines.values.data(),
                                            static_cast<Eigen::Index>(splines.rows),
                                            static_cast<Eigen::Index>(splines.cols));
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
    Roughness roughness;
    roughness.form.resize(static_cast<std::size_t>(unknowns * unknowns));
    Eigen::Map<Square> form(roughness.form.data(), unknowns, unknowns);
    constexpr Eigen::Index cols = CALIBMAP_CORRECTION_COLS;
    for (Eigen::Index i = 0; i < unknowns; ++i) {
        for (Eigen::Index j = 0; j < unknowns; ++j) {
            form(i, j) = alongX[2](i % cols, j % cols) * alongY[0](i / cols, j / cols) +
                         2 * alongX[1](i % cols, j % cols) * alongY[1](i / cols, j / cols) +
                         alongX[0](i % cols, j % cols) * alongY[2](i / cols, j / cols);
        }
    }
    return roughness;
}

Coefficients leastSquares(const Observations& observed, const Roughness& roughness,
                          double smoothing) {
    const NormalEquations equations = normalEquations(observed);
    const Eigen::LDLT<Square> solver(equations.left + penaltyOf(roughness, smoothing));
    return unpacked(solver.solve(equations.right));
}

ValidatedFit crossValidated(const Observations& observed, const Roughness& roughness,
                            double least) {
    const NormalEquations equations = normalEquations(observed);
    double sum = 0;
    for (const double weight : observed.weights) {
        sum += weight;
    }
    ValidatedFit best{};
    double bestScore = std::numeric_limits<double>::infinity();
    double smoothing = least;
    while (smoothing <= 1e4) {
        const Eigen::LDLT<Square> solver(equations.left + penaltyOf(roughness, smoothing));
        const BothCoordinates solution = solver.solve(equations.right);
        const double freedom = Square(solver.solve(equations.left)).trace();
        const Coefficients coefficients = unpacked(solution);
        double squares = 0;
        for (std::size_t i = 0; i < observed.sites.size(); ++i) {
            const Point value = valueAt(coefficients, observed.sites[i]);
            squares += observed.weights[i] * (std::pow(value.x - observed.values[i].x, 2) +
                                              std::pow(value.y - observed.values[i].y, 2));
        }
        const double score = squares / sum * validationFactor(freedom, sum);
        if (score <= bestScore) {
            bestScore = score;
            best = {coefficients, smoothing, freedom};
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

std::vector<double> solveSymmetric(const std::vector<double>& left,
                                   const std::vector<double>& right) {
    const auto size = static_cast<Eigen::Index>(right.size());
    const Eigen::Map<const Square> matrix(left.data(), size, size);
    const Square eased = matrix + 1e-12 * matrix.trace() * Square::Identity(size, size);
    const Eigen::VectorXd solution =
        Eigen::LDLT<Square>(eased).solve(Eigen::Map<const Eigen::VectorXd>(right.data(), size));
    return {solution.begin(), solution.end()};
}
