// The numerics behind `calibmap make`, by truths that are known without it: analytic lenses and
// their inverses, finite differences, exact splines and known minima. Nothing here is symmetric.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "failure.h"
#include "making/fit.h"
#include "making/fit_points.h"
#include "making/least_squares.h"
#include "making/lens_view.h"
#include "making/newton.h"
#include "making/place_breaks.h"
#include "making/plane.h"
#include "making/polynomial.h"
#include "making/proof.h"
#include "making/robust.h"
#include "making/set_fields.h"

namespace {

constexpr Camera camera = {752, 480, 458.7, 451.3, 367.2, 248.4};

Lens brownConrady() {
    return {LensKind::radialTangential, {-0.28, 0.07, 0.002, -0.001, 0.01}};
}

Lens rationalTilted() {
    return {
        LensKind::radialTangential,
        {0.5, -2.6, 0.0005, -0.0003, 1.5, 0.4, -2.5, 1.4, 0.01, -0.02, 0.03, 0.002, 0.02, -0.03}};
}

Lens fisheye() {
    return {LensKind::equidistant, {-0.0015, -0.0033, 0.0061, -0.0037}};
}

double distanceBetween(Point a, Point b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

TEST(Lenses, AreTheirFormulas) {
    const double x = 0.31;
    const double y = -0.17;
    const double r2 = x * x + y * y;
    const double s = 1 - 0.28 * r2 + 0.07 * r2 * r2 + 0.01 * r2 * r2 * r2;
    EXPECT_LT(distanceBetween(distorted(brownConrady(), {x, y}),
                              {x * s + 2 * 0.002 * x * y - 0.001 * (r2 + 2 * x * x),
                               y * s + 0.002 * (r2 + 2 * y * y) - 2 * 0.001 * x * y}),
              1e-15);
    // A ray at 40 degrees is recorded at its bent angle, in its direction.
    const double t = 40 * std::numbers::pi / 180;
    const double bent = t * (1 - 0.0015 * t * t - 0.0033 * std::pow(t, 4) +
                             0.0061 * std::pow(t, 6) - 0.0037 * std::pow(t, 8));
    const Point seen = distorted(fisheye(), {0.6 * std::tan(t), -0.8 * std::tan(t)});
    EXPECT_LT(distanceBetween(seen, {0.6 * bent, -0.8 * bent}), 1e-14);
    EXPECT_NEAR(*recordedAngle(fisheye(), seen), t, 1e-12);
    // A sensor that is tilted about y alone has a homography of two angles.
    Lens tilted;
    tilted.terms[termTauY] = 0.1;
    const double c = std::sin(0.1) * x + std::cos(0.1);
    EXPECT_LT(distanceBetween(distorted(tilted, {x, y}), {x / c, std::cos(0.1) * y / c}), 1e-15);
}

TEST(Lenses, AreUndoneByTheirInverse) {
    for (const Lens& lens : {brownConrady(), rationalTilted(), fisheye()}) {
        for (const Point straight : {Point{0, 0}, Point{0.4, -0.1}, Point{-0.35, 0.3}}) {
            const Point recorded = distorted(lens, straight);
            ASSERT_TRUE(straightened(lens, recorded));
            EXPECT_LT(distanceBetween(*straightened(lens, recorded), straight), 1e-11);
        }
    }
    // r (1 - r^2 / 3) turns at r = 1, where it is 2 / 3: there is the fold, and nothing beyond.
    Lens folding;
    folding.terms[termK1] = -1.0 / 3;
    EXPECT_TRUE(isUnfoldedUpTo(folding, {0.6 * 0.99, 0.8 * 0.99}));
    EXPECT_FALSE(isUnfoldedUpTo(folding, {0.6 * 1.02, 0.8 * 1.02}));
    EXPECT_TRUE(straightened(folding, {0.6 * 0.66, 0.8 * 0.66}));
    EXPECT_FALSE(straightened(folding, {0.6 * 0.67, 0.8 * 0.67}));
    // 45 degrees, and the angle that is offered is free of it.
    try {
        refuseUnfittable({752, 480, 300, 300, 350, 240}, viewOf(folding, wholeViewAngle));
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find("45.0 degrees from the axis"), std::string::npos)
            << failure.what();
        EXPECT_NE(std::string(failure.what()).find("--max-angle 35"), std::string::npos);
    }
    EXPECT_NO_THROW(refuseUnfittable({752, 480, 300, 300, 350, 240}, viewOf(folding, 35)));
}

TEST(Newton, FollowsDerivativesThatAreThoseOfTheFunction) {
    const LensPolynomial polynomial = {0.9, Eigen::VectorXd::LinSpaced(12, 0.5, -3)};
    const Point at = {0.23, -0.41};
    const DualPoint value = polynomialValue(polynomial, variableAt(at));
    constexpr double h = 1e-5;
    const auto slope = [&](Point step) {
        const Point more = polynomialValue(polynomial, Point{at.x + step.x, at.y + step.y});
        const Point less = polynomialValue(polynomial, Point{at.x - step.x, at.y - step.y});
        return Point{(more.x - less.x) / (2 * h), (more.y - less.y) / (2 * h)};
    };
    EXPECT_LT(distanceBetween(value.point(), polynomialValue(polynomial, at)), 1e-14);
    EXPECT_LT(distanceBetween({value.x.derivatives()[0], value.y.derivatives()[0]}, slope({h, 0})),
              1e-7);
    EXPECT_LT(distanceBetween({value.x.derivatives()[1], value.y.derivatives()[1]}, slope({0, h})),
              1e-7);
    const auto square = [](const DualPoint& p) {
        return std::optional(DualPoint{p.x * p.x - p.y, p.x * p.y});
    };
    const std::optional<Point> root = solved(square, {2 * 2 - 3, 2 * 3}, {2.4, 2.5});
    ASSERT_TRUE(root);
    EXPECT_LT(distanceBetween(*root, {2, 3}), 1e-12);
}

/** Break points without symmetry over the image. */
Breaks unevenBreaks() {
    Breaks breaks = evenBreaks(camera);
    breaks.x[2] += 0.05;
    breaks.y[1] -= 0.03;
    return breaks;
}

std::vector<Point> scattered(std::size_t count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> x(0, camera.width - 1);
    std::uniform_real_distribution<double> y(0, camera.height - 1);
    std::vector<Point> sites;
    while (sites.size() < count) {
        const double column = x(random);
        sites.push_back(normalised(camera, {column, y(random)}));
    }
    return sites;
}

TEST(Splines, HaveTheIdentityAndItsDerivatives) {
    const Breaks breaks = unevenBreaks();
    const Coefficients identity = identityCoefficients(breaks);
    const std::vector<Point> sites = scattered(50);
    const std::vector<SiteSplines> splines = siteSplines(breaks, sites);
    for (std::size_t i = 0; i < sites.size(); ++i) {
        EXPECT_LT(distanceBetween(splineValue(identity, splines[i]), sites[i]), 1e-14);
    }
    constexpr double h = 1e-5;
    const double at = breaks.x[2] + 0.01;
    const Collocation around = splinesAt(breaks.x, 7, {at - h, at, at + h});
    const Collocation slope = derivativesAt(breaks.x, 7, 1, {at});
    const Collocation bend = derivativesAt(breaks.x, 7, 2, {at});
    EXPECT_LT((slope.row(0) - (around.row(2) - around.row(0)) / (2 * h)).norm(), 1e-6);
    EXPECT_LT((bend.row(0) - (around.row(2) - 2 * around.row(1) + around.row(0)) / (h * h)).norm(),
              1e-3);
}

TEST(LeastSquares, FindWhatTheObservationsAre) {
    const Breaks breaks = unevenBreaks();
    const Roughness roughness = roughnessOver(breaks, camera.fx, camera.fy);
    // A plane is not rough. x^2 has the second derivative 2 in units of its own axis.
    const Coefficients identity = identityCoefficients(breaks);
    EXPECT_LT((identity.transpose() * roughness * identity).norm(), 1e-9);
    const std::vector<Point> sites = scattered(2000);
    Observations observed = {siteSplines(breaks, sites), {}, std::vector<double>(sites.size(), 1)};
    for (const Point& site : sites) {
        observed.values.push_back({site.x * site.x, site.x * site.y - 2 * site.y});
    }
    const Coefficients exact = leastSquares(observed, roughness, 0);
    for (const double distance : distancesFrom(exact, observed)) {
        ASSERT_LT(distance, 1e-7);
    }
    const double side = camera.width / camera.fx;
    EXPECT_NEAR(exact.col(0).transpose() * roughness * exact.col(0), 4 * std::pow(side, 4),
                1e-3 * std::pow(side, 4));
    const double mixed = camera.width * camera.width / camera.fx / camera.fy;
    EXPECT_NEAR(exact.col(1).transpose() * roughness * exact.col(1), 2 * mixed * mixed, 1e-3);
    // A minimum: the gradient of the sum of squares and of the penalty cancel each other.
    const auto energyOf = [&](const Coefficients& coefficients, double smoothing) {
        double sum = 0;
        for (const double distance : distancesFrom(coefficients, observed)) {
            sum += distance * distance;
        }
        return sum / static_cast<double>(sites.size()) +
               smoothing * (coefficients.transpose() * roughness * coefficients).trace();
    };
    const Coefficients smooth = leastSquares(observed, roughness, 0.01);
    for (const Eigen::Index i : {3, 57, 110}) {
        Coefficients beside = smooth;
        beside(i, i % 2) += 0.01;
        EXPECT_GT(energyOf(beside, 0.01), energyOf(smooth, 0.01));
    }
    EXPECT_GT(energyOf(exact, 0.01), energyOf(smooth, 0.01));
}

TEST(LeastSquares, TellNoiseFromAFewWildPoints) {
    std::mt19937 random(11);
    std::normal_distribution<double> noise(0, 0.2);
    std::vector<double> distances;
    for (int i = 0; i < 5000; ++i) {
        const double x = noise(random);
        distances.push_back(i % 20 == 0 ? 50 : std::hypot(x, noise(random)));
    }
    EXPECT_NEAR(noiseIn(distances, 0), 0.2, 0.02);
    EXPECT_EQ(biweight(1.21, 0.2), 0);
    EXPECT_GT(biweight(1.19, 0.2), 0);
    EXPECT_DOUBLE_EQ(huberWeight(0.8, 0.2), 0.5);
    // The polynomial with as many terms as the displacements have, and without the outliers.
    const std::vector<Point> sites = scattered(400);
    const LensPolynomial truth = {
        std::hypot(camera.width / camera.fx, camera.height / camera.fy) / 2,
        (Eigen::VectorXd(8) << 3, -2, 0.5, 0.2, 0, 0.1, -30, 8).finished()};
    std::vector<Point> displacements;
    for (std::size_t i = 0; i < sites.size(); ++i) {
        displacements.push_back(polynomialValue(truth, sites[i]));
        displacements.back().x += i % 40 == 0 ? 25 : noise(random) / 10;
    }
    std::vector<double> weights;
    const LensPolynomial fitted = fitPolynomial(camera, sites, displacements, weights);
    EXPECT_GE(fitted.terms.size(), 8);
    for (const Point& site : sites) {
        ASSERT_LT(distanceBetween(polynomialValue(fitted, site), polynomialValue(truth, site)),
                  0.02);
    }
    EXPECT_EQ(weights[40], 0);
}

TEST(Fits, PutBreakPointsWhereTheFunctionBends) {
    // A kink of the sixth derivative costs nothing where there is a break point, and much
    // elsewhere.
    GridValues target;
    for (int i = 0; i < 72; ++i) {
        target.u.push_back(-0.79 + 1.58 * i / 71);
    }
    for (int i = 0; i < 48; ++i) {
        target.v.push_back(-0.49 + 0.98 * i / 47);
    }
    for (const double v : target.v) {
        for (const double u : target.u) {
            target.values.push_back({300 * std::pow(std::max(u - 0.47, 0.0), 2), 3 * v});
        }
    }
    const Breaks even = evenBreaks({752, 480, 470, 480, 376, 240});
    const Breaks placed = placeBreaks(even, target);
    const auto largestError = [&target](const Breaks& breaks) {
        Observations observed = {{}, target.values, std::vector<double>(target.values.size(), 1)};
        std::vector<Point> sites;
        for (const double v : target.v) {
            for (const double u : target.u) {
                sites.push_back({u, v});
            }
        }
        observed.sites = siteSplines(breaks, sites);
        const Coefficients fitted = leastSquares(observed, roughnessOver(breaks, 470, 480), 0);
        const std::vector<double> distances = distancesFrom(fitted, observed);
        return *std::max_element(distances.begin(), distances.end());
    };
    EXPECT_LT(largestError(placed), 0.6 * largestError(even));
    EXPECT_TRUE(std::is_sorted(placed.x.begin(), placed.x.end()));
    EXPECT_EQ(placed.x.front(), even.x.front());
}

Point valueOf(const CorrectionModel& model, Point site) {
    return splineValue(coefficientsOf(model), siteSplines(breaksOf(model), {site})[0]);
}

TEST(Fits, FollowTheirLensAndUndoEachOther) {
    const LensView view = viewOf(brownConrady(), wholeViewAngle);
    const ModelPair models = fitLens(camera, view);
    for (const Point& site : scattered(200)) {
        const Point recorded = distorted(view.lens, site);
        EXPECT_LT(distanceBetween(valueOf(models.undistortion, site), recorded) * camera.fx, 1e-3);
        EXPECT_LT(distanceBetween(valueOf(models.distortion, recorded), site) * camera.fx, 0.08);
    }
    // A camera that has moved by a pixel sees the same function, a little further.
    Camera moved = camera;
    moved.cx += 1;
    moved.cy -= 1;
    const std::optional<CorrectionModel> wider = extendedOver(moved, models.distortion);
    ASSERT_TRUE(wider);
    EXPECT_LE(wider->xBreaks.front(), static_cast<float>(normalised(moved, {-0.5, 0}).x));
    for (const Point& site : scattered(100)) {
        EXPECT_LT(distanceBetween(valueOf(*wider, site), valueOf(models.distortion, site)), 1e-6);
    }
    const Point corner = normalised(moved, {0, 479});
    EXPECT_LT(
        distanceBetween(valueOf(*wider, corner), *straightened(view.lens, corner)) * camera.fx,
        0.1);
    moved.cx += 20;
    EXPECT_FALSE(extendedOver(moved, models.distortion));
}

TEST(Proof, SaysWhichWayALensBends) {
    CoordinateMap map{480, 752, 1, {}, {}};
    for (int32_t row = 0; row < map.rows; ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const Point from =
                normalised(camera, {static_cast<double>(col), static_cast<double>(row)});
            const Point to = inPixels(camera, distorted(brownConrady(), from));
            map.x.push_back(static_cast<float>(to.x + (row == 77 && col == 300 ? 0.5 : 0)));
            map.y.push_back(static_cast<float>(to.y));
        }
    }
    const LensView view = viewOf(brownConrady(), wholeViewAngle);
    const MapErrors errors = errorsFromLens(map, camera, view, Direction::undistort);
    EXPECT_NEAR(errors.distances.largest, 0.5, 1e-4);
    EXPECT_EQ(errors.distances.place.x, 300);
    EXPECT_EQ(errors.distances.place.y, 77);
    EXPECT_EQ(errors.distances.count, 480U * 752U);
    EXPECT_LT(bendOf(map, camera, &view).outwards, -50);
    // Points by another lens, or exchanged, contradict it; noisy ones of a weak lens do not.
    std::vector<PointPair> pairs;
    std::vector<PointPair> exchanged;
    for (const Point& site : scattered(100)) {
        pairs.push_back({inPixels(camera, site), inPixels(camera, distorted(view.lens, site))});
        exchanged.push_back({pairs.back().recorded, pairs.back().straight});
    }
    EXPECT_NO_THROW(refuseContradiction(pairs, camera, view.lens, "lens"));
    EXPECT_THROW(refuseContradiction(exchanged, camera, view.lens, "lens"), Failure);
}

}  // namespace
