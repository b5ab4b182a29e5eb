#include "making/fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "failure.h"
#include "making/least_squares.h"
#include "making/place_breaks.h"
#include "making/plane.h"

namespace {

// Sites of a fit. More would find no larger errors: between two of them a piece of degree 6 cannot
// turn.
constexpr std::size_t sitesAlongX = 72;
constexpr std::size_t sitesAlongY = 48;

/** So little smoothing shows only where nothing else decides. */
constexpr double bareSmoothing = 1e-12;

/** So little weight does not draw a model away from what it is fitted to. */
constexpr double weightBeyond = 1e-6;

template <class Axis>
bool serves(const Axis& breaks, int32_t pixels, double principal, double focal) {
    return std::adjacent_find(breaks.begin(), breaks.end(), std::greater_equal<>()) ==
               breaks.end() &&
           breaks.front() < (0 - principal) / focal &&
           breaks.back() > (pixels - 1 - principal) / focal;
}

/** Sites from the first to the last pixel centre, denser towards both ends, where fits err most. */
std::vector<double> sitesOver(std::size_t count, int32_t pixels, double principal, double focal) {
    std::vector<double> sites(count);
    const double half = (pixels - 1) / 2.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double angle =
            std::numbers::pi * static_cast<double>(i) / static_cast<double>(count - 1);
        sites[i] = (half - half * std::cos(angle) - principal) / focal;
    }
    return sites;
}

/** A grid of sites over the image, so many times as dense as usual, without values. */
GridValues gridOver(const Camera& camera, std::size_t density) {
    return {sitesOver(density * sitesAlongX, camera.width, camera.cx, camera.fx),
            sitesOver(density * sitesAlongY, camera.height, camera.cy, camera.fy),
            {}};
}

std::vector<Point> nodesOf(const GridValues& grid) {
    std::vector<Point> sites;
    for (const double y : grid.v) {
        for (const double x : grid.u) {
            sites.push_back({x, y});
        }
    }
    return sites;
}

/** The displacement, in pixels, of each site that the target has a value for. */
struct SampledTarget {
    std::vector<Point> sites;
    std::vector<Point> displacements;
    bool everywhere;
};

SampledTarget sample(const Camera& camera, const Target& target, const GridValues& grid) {
    const std::vector<Point> sites = nodesOf(grid);
    const std::vector<std::optional<Point>> values = target(sites);
    SampledTarget result{{}, {}, true};
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const std::optional<Point>& value = values[i];
        if (value && std::isfinite(value->x) && std::isfinite(value->y)) {
            result.sites.push_back(sites[i]);
            result.displacements.push_back(displacementOf(camera, sites[i], *value));
        } else {
            result.everywhere = false;
        }
    }
    return result;
}

/** Break points whose inner ones are spread over the sites alone. */
Breaks breaksOver(const Breaks& whole, const std::vector<Point>& sites) {
    Breaks result = whole;
    const auto spreadInside = [&sites](auto& breaks, double Point::*coordinate) {
        const auto [least, most] = std::minmax_element(
            sites.begin(), sites.end(),
            [coordinate](Point a, Point b) { return a.*coordinate < b.*coordinate; });
        auto inner = breaks;
        spread(inner, (*least).*coordinate, (*most).*coordinate);
        std::copy(inner.begin() + 1, inner.end() - 1, breaks.begin() + 1);
    };
    spreadInside(result.x, &Point::x);
    spreadInside(result.y, &Point::y);
    return result;
}

/** The break points rounded as the file stores them. */
Breaks rounded(Breaks breaks) {
    const auto round = [](double value) { return static_cast<double>(static_cast<float>(value)); };
    std::transform(breaks.x.begin(), breaks.x.end(), breaks.x.begin(), round);
    std::transform(breaks.y.begin(), breaks.y.end(), breaks.y.begin(), round);
    return breaks;
}

/**
 * Least squares with weights that grow where the fit errs, until they hold the largest error of the
 * first `count` observations down; the others keep theirs. The weights swing on the way, so that
 * the best of all rounds is what counts.
 */
Coefficients leastLargestError(Observations& observed, std::size_t count,
                               const Roughness& roughness) {
    constexpr int rounds = 60;
    constexpr double goodEnough = 5e-4;
    Coefficients best = Coefficients::Zero();
    double leastLargest = INFINITY;
    for (int round = 0; round < rounds && leastLargest > goodEnough; ++round) {
        const Coefficients fitted = leastSquares(observed, roughness, bareSmoothing);
        std::vector<double> errors = distancesFrom(fitted, observed);
        errors.resize(count);
        const double largest = *std::max_element(errors.begin(), errors.end());
        if (largest < leastLargest) {
            leastLargest = largest;
            best = fitted;
        }
        double sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            sum += observed.weights[i] *= std::sqrt(errors[i]);
        }
        // A floor keeps every site in the problem.
        for (std::size_t i = 0; i < count; ++i) {
            observed.weights[i] = observed.weights[i] / sum * static_cast<double>(count) + 1e-6;
        }
    }
    return best;
}

/** Pixels of displacement to the normalised coordinates of a model: identity + coefficients. */
CorrectionModel modelOfDisplacement(const Camera& camera, const Breaks& breaks,
                                    const Coefficients& displacement) {
    const Eigen::DiagonalMatrix<double, 2> scale(1 / camera.fx, 1 / camera.fy);
    return storedModel(breaks, identityCoefficients(breaks) + displacement * scale);
}

/** What the inverse of a model has to be where `view` says nothing of it. */
std::vector<Sample> inverseBeyond(const Camera& camera, const LensView& view,
                                  const CorrectionModel& undistortion) {
    const Breaks breaks = breaksOf(undistortion);
    const std::vector<Point> straight = nodesOf(gridOver(camera, 1));
    const std::vector<SiteSplines> splines = siteSplines(breaks, straight);
    const Coefficients coefficients = coefficientsOf(undistortion);
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < straight.size(); ++i) {
        const Point recorded = splineValue(coefficients, splines[i]);
        if (!truthAt(view, Direction::undistort, straight[i]) && recorded.x >= breaks.x.front() &&
            recorded.x <= breaks.x.back() && recorded.y >= breaks.y.front() &&
            recorded.y <= breaks.y.back() && !truthAt(view, Direction::distort, recorded)) {
            samples.push_back({recorded, straight[i]});
        }
    }
    return samples;
}

}  // namespace

Breaks evenBreaks(const Camera& camera) {
    Breaks breaks{};
    const Point first = normalised(camera, {-0.5, -0.5});
    const Point last = normalised(camera, {camera.width - 0.5, camera.height - 0.5});
    spread(breaks.x, first.x, last.x);
    spread(breaks.y, first.y, last.y);
    breaks = rounded(breaks);
    if (!serves(breaks.x, camera.width, camera.cx, camera.fx) ||
        !serves(breaks.y, camera.height, camera.cy, camera.fy)) {
        throw Failure("main camera",
                      "the image is too small a part of its plane for the file's numbers",
                      "move the principal point nearer or choose a shorter focal length");
    }
    return breaks;
}

CorrectionModel fitModel(const Camera& camera, const Target& target,
                         const std::vector<Sample>& beyond) {
    Breaks breaks = evenBreaks(camera);
    GridValues grid = gridOver(camera, 1);
    SampledTarget sampled = sample(camera, target, grid);
    if (!sampled.everywhere) {
        // Between the sites next to the border of what is fitted, a model may err more than at
        // them.
        sampled = sample(camera, target, gridOver(camera, 2));
    }
    if (sampled.sites.size() < CorrectionModel::coefficientCount) {
        throw Failure("main camera", "too little of the image is left to fit a model to",
                      "allow a wider angle");
    }
    grid.values = sampled.displacements;
    breaks =
        rounded(sampled.everywhere ? placeBreaks(breaks, grid) : breaksOver(breaks, sampled.sites));
    const std::size_t count = sampled.sites.size();
    std::vector<double> weights(count, 1.0);
    for (const Sample& further : beyond) {
        sampled.sites.push_back(further.site);
        sampled.displacements.push_back(displacementOf(camera, further.site, further.value));
        weights.push_back(weightBeyond);
    }
    Observations observed = {siteSplines(breaks, sampled.sites), sampled.displacements, weights};
    const Coefficients displacement =
        leastLargestError(observed, count, roughnessOver(breaks, camera.fx, camera.fy));
    return modelOfDisplacement(camera, breaks, displacement);
}

ModelPair fitLens(const Camera& camera, const LensView& view) {
    const auto targetOf = [&view](Direction direction) {
        return [&view, direction](const std::vector<Point>& sites) {
            std::vector<std::optional<Point>> values;
            values.reserve(sites.size());
            for (const Point& site : sites) {
                values.push_back(truthAt(view, direction, site));
            }
            return values;
        };
    };
    const CorrectionModel undistortion = fitModel(camera, targetOf(Direction::undistort));
    // Where the lens says nothing, one model undoes the other all the same.
    return {undistortion, fitModel(camera, targetOf(Direction::distort),
                                   inverseBeyond(camera, view, undistortion))};
}

std::optional<CorrectionModel> extendedOver(const Camera& camera, const CorrectionModel& model) {
    // So far the outermost pieces go on as the lens does, to a fraction of a pixel.
    constexpr double farthest = 0.01;
    const Breaks image = evenBreaks(camera);
    const Breaks old = breaksOf(model);
    Breaks wider = old;
    wider.x.front() = std::min(old.x.front(), image.x.front());
    wider.x.back() = std::max(old.x.back(), image.x.back());
    wider.y.front() = std::min(old.y.front(), image.y.front());
    wider.y.back() = std::max(old.y.back(), image.y.back());
    const auto isFar = [](const auto& from, const auto& to) {
        const double range = from.back() - from.front();
        return to.back() - to.front() > (1 + farthest) * range;
    };
    if (isFar(old.x, wider.x) || isFar(old.y, wider.y)) {
        return std::nullopt;
    }
    // As many sites in each piece as its polynomial has coefficients decide it.
    const auto sitesIn = [](const auto& breaks, int order) {
        std::vector<double> sites;
        for (std::size_t i = 0; i + 1 < breaks.size(); ++i) {
            for (int j = 0; j < order; ++j) {
                sites.push_back(std::lerp(breaks[i], breaks[i + 1], (j + 0.5) / order));
            }
        }
        return sites;
    };
    // Along each axis, the values at the sites by the old coefficients are those by the new ones.
    const auto carried = [&sitesIn](const auto& from, const auto& to, int order) {
        const std::vector<double> sites = sitesIn(from, order);
        return Eigen::MatrixXd(Eigen::MatrixXd(splinesAt(to, order, sites))
                                   .colPivHouseholderQr()
                                   .solve(Eigen::MatrixXd(splinesAt(from, order, sites))));
    };
    const Eigen::MatrixXd alongX = carried(old.x, wider.x, fittingShape.xOrder);
    const Eigen::MatrixXd alongY = carried(old.y, wider.y, fittingShape.yOrder);
    Coefficients coefficients = coefficientsOf(model);
    for (Eigen::Index axis = 0; axis < 2; ++axis) {
        // Row by row in memory, so that rows of the matrix are along x.
        Eigen::Map<Collocation> matrix(coefficients.col(axis).data(), CALIBMAP_CORRECTION_ROWS,
                                       CALIBMAP_CORRECTION_COLS);
        matrix = (alongY * matrix * alongX.transpose()).eval();
    }
    return storedModel(wider, coefficients);
}
