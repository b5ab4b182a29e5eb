#include "making/fit.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "failure.h"
#include "making/least_squares.h"
#include "making/place_breaks.h"

namespace {

// Sites of a fit. More would find no larger errors: between two of them a piece of degree 6 cannot
// turn.
constexpr std::size_t sitesAlongX = 72;
constexpr std::size_t sitesAlongY = 48;

/** So little smoothing shows only where nothing else decides. */
constexpr double bareSmoothing = 1e-12;

/** Break points at even distances from `first` to `last`, as the file's single precision has them.
 */
template <class Axis>
void spread(Axis& breaks, double first, double last) {
    const auto pieces = static_cast<double>(breaks.size() - 1);
    for (std::size_t i = 0; i < breaks.size(); ++i) {
        breaks[i] = static_cast<float>(std::lerp(first, last, static_cast<double>(i) / pieces));
    }
}

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

/** The displacement, in pixels, of each site that the target has a value for. */
struct SampledTarget {
    std::vector<Point> sites;
    std::vector<Point> displacements;
    bool everywhere;
};

SampledTarget sample(const Camera& camera, const Target& target, const std::vector<double>& u,
                     const std::vector<double>& v) {
    std::vector<Point> sites;
    for (const double y : v) {
        for (const double x : u) {
            sites.push_back({x, y});
        }
    }
    const std::vector<std::optional<Point>> values = target(sites);
    SampledTarget result{{}, {}, true};
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const std::optional<Point>& value = values[i];
        if (value && std::isfinite(value->x) && std::isfinite(value->y)) {
            result.sites.push_back(sites[i]);
            result.displacements.push_back(
                {(value->x - sites[i].x) * camera.fx, (value->y - sites[i].y) * camera.fy});
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
 * Least squares with weights that grow where the fit errs, until they hold the largest error down.
 * The weights swing on the way, so that the best of all rounds is what counts.
 */
Coefficients leastLargestError(Observations& observed, const Roughness& roughness) {
    constexpr int rounds = 60;
    constexpr double goodEnough = 5e-4;
    Coefficients best{};
    double leastLargest = INFINITY;
    for (int round = 0; round < rounds && leastLargest > goodEnough; ++round) {
        const Coefficients fitted = leastSquares(observed, roughness, bareSmoothing);
        std::vector<double> errors;
        for (std::size_t i = 0; i < observed.sites.size(); ++i) {
            const Point value = valueAt(fitted, observed.sites[i]);
            errors.push_back(
                std::hypot(value.x - observed.values[i].x, value.y - observed.values[i].y));
        }
        const double largest = *std::max_element(errors.begin(), errors.end());
        if (largest < leastLargest) {
            leastLargest = largest;
            best = fitted;
        }
        double sum = 0;
        for (std::size_t i = 0; i < errors.size(); ++i) {
            sum += observed.weights[i] *= std::sqrt(errors[i]);
        }
        // A floor keeps every site in the problem.
        const auto count = static_cast<double>(errors.size());
        for (double& weight : observed.weights) {
            weight = weight / sum * count + 1e-6;
        }
    }
    return best;
}

}  // namespace

Point normalised(const Camera& camera, Point pixel) {
    return {(pixel.x - camera.cx) / camera.fx, (pixel.y - camera.cy) / camera.fy};
}

Point inPixels(const Camera& camera, Point p) {
    return {p.x * camera.fx + camera.cx, p.y * camera.fy + camera.cy};
}

Breaks evenBreaks(const Camera& camera) {
    Breaks breaks{};
    const Point first = normalised(camera, {-0.5, -0.5});
    const Point last = normalised(camera, {camera.width - 0.5, camera.height - 0.5});
    spread(breaks.x, first.x, last.x);
    spread(breaks.y, first.y, last.y);
    if (!serves(breaks.x, camera.width, camera.cx, camera.fx) ||
        !serves(breaks.y, camera.height, camera.cy, camera.fy)) {
        throw Failure("main camera",
                      "the image is too small a part of its plane for the file's numbers",
                      "move the principal point nearer or choose a shorter focal length");
    }
    return breaks;
}

Coefficients identityCoefficients(const Breaks& breaks) {
    // The coefficient of the identity for a B-spline is the mean of its inner knots (Greville).
    const auto means = [](const auto& axis, int order) {
        const auto repeated = static_cast<std::size_t>(order - 1);
        std::vector<double> knots(repeated, axis.front());
        knots.insert(knots.end(), axis.begin(), axis.end());
        knots.insert(knots.end(), repeated, axis.back());
        std::vector<double> result;
        for (std::size_t i = 0; i + repeated + 1 < knots.size(); ++i) {
            double sum = 0;
            for (std::size_t j = 1; j <= repeated; ++j) {
                sum += knots[i + j];
            }
            result.push_back(sum / static_cast<double>(repeated));
        }
        return result;
    };
    const std::vector<double> x = means(breaks.x, fittingShape.xOrder);
    const std::vector<double> y = means(breaks.y, fittingShape.yOrder);
    Coefficients result{};
    for (std::size_t i = 0; i < result.x.size(); ++i) {
        result.x[i] = x[i % x.size()];
        result.y[i] = y[i / x.size()];
    }
    return result;
}

CorrectionModel modelOfDisplacement(const Camera& camera, const Breaks& breaks,
                                    const Coefficients& displacement) {
    Coefficients coefficients = identityCoefficients(breaks);
    for (std::size_t i = 0; i < coefficients.x.size(); ++i) {
        coefficients.x[i] += displacement.x[i] / camera.fx;
        coefficients.y[i] += displacement.y[i] / camera.fy;
    }
    return storedModel(breaks, coefficients);
}

CorrectionModel fitModel(const Camera& camera, const Target& target) {
    Breaks breaks = evenBreaks(camera);
    const std::vector<double> u = sitesOver(sitesAlongX, camera.width, camera.cx, camera.fx);
    const std::vector<double> v = sitesOver(sitesAlongY, camera.height, camera.cy, camera.fy);
    SampledTarget sampled = sample(camera, target, u, v);
    if (!sampled.everywhere) {
        // Between the sites next to the border of what is fitted, a model may err more than at
        // them.
        sampled =
            sample(camera, target, sitesOver(2 * sitesAlongX, camera.width, camera.cx, camera.fx),
                   sitesOver(2 * sitesAlongY, camera.height, camera.cy, camera.fy));
    }
    if (sampled.sites.size() < CorrectionModel::coefficientCount) {
        throw Failure("main camera", "too little of the image is left to fit a model to",
                      "allow a wider angle");
    }
    breaks = rounded(sampled.everywhere ? placeBreaks(breaks, {u, v, sampled.displacements})
                                        : breaksOver(breaks, sampled.sites));
    Observations observed = {siteSplines(breaks, sampled.sites), sampled.displacements,
                             std::vector<double>(sampled.sites.size(), 1.0)};
    const Coefficients displacement =
        leastLargestError(observed, roughnessOver(breaks, camera.fx, camera.fy));
    return modelOfDisplacement(camera, breaks, displacement);
}
