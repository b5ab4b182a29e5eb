#include "making/polynomial.h"

#include <Eigen/Dense>
#include <array>
#include <cmath>
#include <limits>

#include "making/least_squares.h"
#include "making/robust.h"

namespace {

/** The numbers of terms among which one is chosen; each adds what belongs together. */
constexpr std::array<Eigen::Index, 8> sizes = {0, 2, 6, 7, 8, 10, 11, 12};
constexpr auto allTerms = static_cast<int>(sizes.back());

/** What each term stands for at a site, one column for x and one for y. */
template <class Number>
Eigen::Matrix<Number, allTerms, 2> termsAt(double unit, const Number& siteX, const Number& siteY) {
    const Number x = siteX / unit;
    const Number y = siteY / unit;
    const Number r2 = x * x + y * y;
    const Number r4 = r2 * r2;
    const Number xy = 2 * x * y;
    const Number none(0);
    const Number one(1);
    Eigen::Matrix<Number, allTerms, 2> terms;
    terms << one, none,                  //
        none, one,                       //
        x, none,                         //
        none, y,                         //
        y, none,                         //
        none, x,                         //
        Number(x * r2), Number(y * r2),  //
        Number(x * r4), Number(y * r4),  //
        xy, Number(r2 + 2 * y * y),      //
        Number(r2 + 2 * x * x), xy,      //
        Number(x * r4 * r2), Number(y * r4 * r2), Number(x * r4 * r4), Number(y * r4 * r4);
    return terms;
}

struct WeightedFit {
    LensPolynomial polynomial;
    std::vector<double> distances;
};

WeightedFit fitTerms(double unit, Eigen::Index size, const std::vector<Point>& sites,
                     const std::vector<Point>& displacements, const std::vector<double>& weights) {
    Eigen::MatrixXd left = Eigen::MatrixXd::Zero(size, size);
    Eigen::VectorXd right = Eigen::VectorXd::Zero(size);
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const auto terms = termsAt(unit, sites[i].x, sites[i].y).topRows(size).eval();
        left += weights[i] * terms * terms.transpose();
        right += weights[i] * terms * Eigen::Vector2d(displacements[i].x, displacements[i].y);
    }
    // The little more makes it definite where the points decide nothing.
    left += 1e-12 * left.trace() * Eigen::MatrixXd::Identity(size, size);
    WeightedFit fit{{unit, left.ldlt().solve(right)}, {}};
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const Point value = polynomialValue(fit.polynomial, sites[i]);
        fit.distances.push_back(
            std::hypot(value.x - displacements[i].x, value.y - displacements[i].y));
    }
    return fit;
}

}  // namespace

Point polynomialValue(const LensPolynomial& polynomial, Point site) {
    const Eigen::Index size = polynomial.terms.size();
    const Eigen::Vector2d sum =
        termsAt(polynomial.unit, site.x, site.y).topRows(size).transpose() * polynomial.terms;
    return {sum[0], sum[1]};
}

DualPoint polynomialValue(const LensPolynomial& polynomial, const DualPoint& site) {
    const auto terms = termsAt<Dual>(polynomial.unit, site.x, site.y);
    DualPoint sum = {Dual(0, Eigen::Vector2d::Zero()), Dual(0, Eigen::Vector2d::Zero())};
    for (Eigen::Index i = 0; i < polynomial.terms.size(); ++i) {
        sum.x += polynomial.terms[i] * terms(i, 0);
        sum.y += polynomial.terms[i] * terms(i, 1);
    }
    return sum;
}

LensPolynomial fitPolynomial(const Camera& camera, const std::vector<Point>& sites,
                             const std::vector<Point>& displacements,
                             std::vector<double>& weights) {
    const double unit = std::hypot(camera.width / camera.fx, camera.height / camera.fy) / 2;
    // Two observations to a term at least.
    const auto isAffordable = [&](Eigen::Index size) {
        return size <= static_cast<Eigen::Index>(sites.size());
    };
    Eigen::Index most = 0;
    for (const Eigen::Index size : sizes) {
        most = isAffordable(size) ? size : most;
    }
    constexpr int rounds = 15;
    weights.assign(sites.size(), 1.0);
    for (int round = 0; round < 2 * rounds; ++round) {
        const WeightedFit fit = fitTerms(unit, most, sites, displacements, weights);
        const double noise = noiseIn(fit.distances, static_cast<double>(most) / 2);
        for (std::size_t i = 0; i < weights.size(); ++i) {
            weights[i] = round < rounds ? huberWeight(fit.distances[i], noise)
                                        : biweight(fit.distances[i], noise);
        }
    }
    WeightedFit best{};
    double bestScore = std::numeric_limits<double>::infinity();
    for (const Eigen::Index size : sizes) {
        if (!isAffordable(size)) {
            break;
        }
        WeightedFit fit = fitTerms(unit, size, sites, displacements, weights);
        double squares = 0;
        double sum = 0;
        for (std::size_t i = 0; i < weights.size(); ++i) {
            squares += weights[i] * fit.distances[i] * fit.distances[i];
            sum += weights[i];
        }
        const double score = squares / sum * validationFactor(static_cast<double>(size), 2 * sum);
        if (score < bestScore) {
            bestScore = score;
            best = std::move(fit);
        }
    }
    return best.polynomial;
}
