#include "making/fit_points.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "failure.h"
#include "making/least_squares.h"
#include "making/plane.h"
#include "making/polynomial.h"
#include "making/robust.h"

namespace {

/** No plate is less stiff than this: far below what noise ever asks for. */
constexpr double leastSmoothing = 1e-10;

using Values = std::vector<std::optional<Point>>;

/** What takes straight points to recorded ones, in displacements of pixels. */
struct MeasuredLens {
    LensPolynomial polynomial;
    Breaks breaks; /**< of the plate; they enclose the image and all straight points */
    Coefficients plate;
};

/** What the plate adds at each point; beyond its border, what it adds there. */
std::vector<Point> plateAt(const MeasuredLens& lens, std::vector<Point> points) {
    for (Point& point : points) {
        point.x = std::clamp(point.x, lens.breaks.x.front(), lens.breaks.x.back());
        point.y = std::clamp(point.y, lens.breaks.y.front(), lens.breaks.y.back());
    }
    std::vector<Point> values;
    for (const SiteSplines& splines : siteSplines(lens.breaks, points)) {
        values.push_back(splineValue(lens.plate, splines));
    }
    return values;
}

/** The straight point next to `start` that polynomial and `offset` take to `recorded`. */
std::optional<Point> solvePolynomial(const Camera& camera, const LensPolynomial& polynomial,
                                     Point offset, Point recorded, Point start) {
    const auto image = [&](const DualPoint& p) -> std::optional<DualPoint> {
        const DualPoint moved = polynomialValue(polynomial, p);
        const DualPoint reached = {p.x + (moved.x + offset.x) / camera.fx,
                                   p.y + (moved.y + offset.y) / camera.fy};
        const double trace = reached.x.derivatives()[0] + reached.y.derivatives()[1];
        return reached.determinant() > 0 && trace > 0 ? std::optional(reached) : std::nullopt;
    };
    return solved(image, recorded, start);
}

Values recordedAt(const Camera& camera, const MeasuredLens& lens,
                  const std::vector<Point>& straight) {
    const std::vector<Point> plate = plateAt(lens, straight);
    Values values;
    for (std::size_t i = 0; i < straight.size(); ++i) {
        const Point broad = polynomialValue(lens.polynomial, straight[i]);
        values.push_back(
            displaced(camera, straight[i], {broad.x + plate[i].x, broad.y + plate[i].y}));
    }
    return values;
}

/** The inverse; nothing where the polynomial folds on the way from the principal point. */
Values straightAt(const Camera& camera, const MeasuredLens& lens,
                  const std::vector<Point>& recorded) {
    constexpr int raySteps = 20;
    Values values;
    for (const Point& target : recorded) {
        std::optional<Point> p = Point{0, 0};
        for (int step = 0; step <= raySteps && p; ++step) {
            const double t = static_cast<double>(step) / raySteps;
            p = solvePolynomial(camera, lens.polynomial, {0, 0}, {t * target.x, t * target.y}, *p);
        }
        values.push_back(p);
    }
    // The plate adds little and changes slowly, so each round brings a digit or more.
    constexpr int rounds = 8;
    for (int round = 0; round < rounds; ++round) {
        std::vector<Point> points;
        for (const std::optional<Point>& value : values) {
            points.push_back(value.value_or(Point{0, 0}));
        }
        const std::vector<Point> plate = plateAt(lens, points);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i]) {
                values[i] =
                    solvePolynomial(camera, lens.polynomial, plate[i], recorded[i], points[i]);
            }
        }
    }
    return values;
}

/** Fits again and again with weights that follow from the last fit; returns the last noise. */
double settle(Observations& observed, const Roughness& roughness) {
    constexpr int rounds = 20;
    double noise = 0;
    for (int round = 0; round < rounds; ++round) {
        const ValidatedFit fit = crossValidated(observed, roughness, leastSmoothing);
        const std::vector<double> distances = distancesFrom(fit.coefficients, observed);
        const double last = noise;
        noise = noiseIn(distances, fit.freedom);
        for (std::size_t i = 0; i < distances.size(); ++i) {
            observed.weights[i] = biweight(distances[i], noise);
        }
        if (std::abs(noise - last) < 1e-3 * noise) {
            break;
        }
    }
    return noise;
}

/** Evenly spaced break points around the image and all of the points. */
Breaks breaksAround(const Camera& camera, const std::vector<Point>& points) {
    Breaks breaks = evenBreaks(camera);
    const auto widen = [&](auto& axis, double Point::*coordinate) {
        double first = axis.front();
        double last = axis.back();
        for (const Point& point : points) {
            first = std::min(first, point.*coordinate);
            last = std::max(last, point.*coordinate);
        }
        spread(axis, first, last);
    };
    widen(breaks.x, &Point::x);
    widen(breaks.y, &Point::y);
    return breaks;
}

std::vector<Patch> patchesOf(const Camera& camera, const std::vector<PointPair>& pairs,
                             const std::vector<std::size_t>& used) {
    constexpr int rows = fittingShape.yPieces;
    constexpr int cols = fittingShape.xPieces;
    std::vector<Patch> patches;
    for (int row = 0; row < rows; ++row) {
        for (int col = 0; col < cols; ++col) {
            Patch patch = {-0.5 + camera.width * static_cast<double>(col) / cols,
                           -0.5 + camera.height * static_cast<double>(row) / rows,
                           -0.5 + camera.width * static_cast<double>(col + 1) / cols,
                           -0.5 + camera.height * static_cast<double>(row + 1) / rows, 0};
            patch.points = static_cast<std::size_t>(
                std::count_if(used.begin(), used.end(), [&](std::size_t i) {
                    const Point place = pairs[i].recorded;
                    return place.x >= patch.left && place.x < patch.right && place.y >= patch.top &&
                           place.y < patch.bottom;
                }));
            patches.push_back(patch);
        }
    }
    return patches;
}

}  // namespace

PointFit fitPoints(const Camera& camera, const std::vector<PointPair>& pairs) {
    std::vector<std::size_t> inside;
    std::vector<Point> sites;
    Observations observed;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto& [straight, recorded] = pairs[i];
        if (recorded.x >= -0.5 && recorded.x <= camera.width - 0.5 && recorded.y >= -0.5 &&
            recorded.y <= camera.height - 0.5) {
            inside.push_back(i);
            sites.push_back(normalised(camera, straight));
            observed.values.push_back({recorded.x - straight.x, recorded.y - straight.y});
        }
    }
    if (inside.empty()) {
        throw Failure("points", "none was recorded within the image",
                      "check the size and the order of the columns");
    }
    MeasuredLens lens{};
    lens.polynomial = fitPolynomial(camera, sites, observed.values, observed.weights);
    for (std::size_t i = 0; i < sites.size(); ++i) {
        const Point explained = polynomialValue(lens.polynomial, sites[i]);
        observed.values[i] = {observed.values[i].x - explained.x,
                              observed.values[i].y - explained.y};
    }
    lens.breaks = breaksAround(camera, sites);
    observed.sites = siteSplines(lens.breaks, sites);
    const Roughness roughness = roughnessOver(lens.breaks, camera.fx, camera.fy);

    PointFit result{};
    result.noise = settle(observed, roughness);
    for (std::size_t i = 0; i < inside.size(); ++i) {
        const bool isUsed = observed.weights[i] > 0;
        observed.weights[i] = isUsed ? 1 : 0;
        (isUsed ? result.used : result.leftOut).push_back(inside[i]);
    }
    lens.plate = crossValidated(observed, roughness, leastSmoothing).coefficients;
    result.models.undistortion = fitModel(camera, [&](const std::vector<Point>& straight) {
        return recordedAt(camera, lens, straight);
    });
    result.models.distortion = fitModel(camera, [&](const std::vector<Point>& recorded) {
        return straightAt(camera, lens, recorded);
    });
    result.recorded = patchesOf(camera, pairs, result.used);
    return result;
}
