#include "making/polynomial.h"

#include <array>
#include <cmath>
#include <limits>

#include "making/least_squares.h"
#include "making/robust.h"

namespace {

/** The numbers of terms among which one is chosen; each adds what belongs together. */
constexpr std::array<std::size_t, 8> sizes = {0, 2, 6, 7, 8, 10, 11, 12};
constexpr std::size_t allTerms = sizes.back();

/** The displacements that each term stands for at a site. */
std::array<Point, allTerms> termsAt(double unit, Point site) {
    const double x = site.x / unit;
    const double y = site.y / unit;
    const double r2 = x * x + y * y;
    const double r4 = r2 * r2;
    return {{{1, 0},
             {0, 1},
             {x, 0},
             {0, y},
             {y, 0},
             {0, x},
             {x * r2, y * r2},
             {x * r4, y * r4},
             {2 * x * y, r2 + 2 * y * y},
             {r2 + 2 * x * x, 2 * x * y},
             {x * r4 * r2, y * r4 * r2},
             {x * r4 * r4, y * r4 * r4}}};
}

struct WeightedFit {
    LensPolynomial polynomial;
    std::vector<double> distances;
};

WeightedFit fitTerms(double unit, std::size_t size, const std::vector<Point>& sites,
                     const std::vector<Point>& displacements, const std::vector<double>& weights) {
    std::vector<double> left(size * size);
    std::vector<double> right(size);
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const std::array<Point, allTerms> terms = termsAt(unit, sites[i]);
        for (std::size_t a = 0; a < size; ++a) {
            right[a] +=
                weights[i] * (terms[a].x * displacements[i].x + terms[a].y * displacements[i].y);
            for (std::size_t b = 0; b < size; ++b) {
                left[a * size + b] +=
                    weights[i] * (terms[a].x * terms[b].x + terms[a].y * terms[b].y);
            }
        }
    }
    WeightedFit fit{{unit, size == 0 ? std::vector<double>() : solveSymmetric(left, right)}, {}};
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const Point value = displacementAt(fit.polynomial, sites[i]);
        fit.distances.push_back(
            std::hypot(value.x - displacements[i].x, value.y - displacements[i].y));
    }
    return fit;
}

}  // namespace

Point displacementAt(const LensPolynomial& polynomial, Point site) {
    const std::array<Point, allTerms> terms = termsAt(polynomial.unit, site);
    Point sum = {0, 0};
    for (std::size_t i = 0; i < polynomial.terms.size(); ++i) {
        sum.x += polynomial.terms[i] * terms[i].x;
        sum.y += polynomial.terms[i] * terms[i].y;
    }
    return sum;
}

LensPolynomial fitPolynomial(const Camera& camera, const std::vector<Point>& sites,
                             const std::vector<Point>& displacements,
                             std::vector<double>& weights) {
    const double unit = std::hypot(camera.width / camera.fx, camera.height / camera.fy) / 2;
    // Two observations to a term at least.
    const auto isAffordable = [&](std::size_t size) { return size <= sites.size(); };
    std::size_t most = 0;
    for (const std::size_t size : sizes) {
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
    for (const std::size_t size : sizes) {
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
