#include "making/proof.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <future>
#include <optional>
#include <thread>

#include "failure.h"
#include "inspection/evaluation.h"
#include "inspection/text.h"
#include "making/plane.h"

namespace {

Point atPixel(int32_t col, int32_t row) {
    return {static_cast<double>(col), static_cast<double>(row)};
}

Point valueOf(const CoordinateMap& map, int32_t row, int32_t col) {
    const std::size_t i = map.index(row, col);
    return {map.x[i], map.y[i]};
}

/** A map, its direction, and the lens that it is compared with. */
struct LensComparison {
    const CoordinateMap& map;
    const Camera& camera;
    const LensView& view;
    Direction direction;
};

/** From the truth to the map's value; nothing where there is no truth. */
std::optional<Point> errorAt(const LensComparison& comparison, int32_t row, int32_t col) {
    const Camera& camera = comparison.camera;
    const Point reached = valueOf(comparison.map, row, col);
    const std::optional<Point> truth =
        truthNear(comparison.view, comparison.direction, normalised(camera, atPixel(col, row)),
                  normalised(camera, reached));
    if (!truth) {
        return std::nullopt;
    }
    const Point to = inPixels(camera, *truth);
    return Point{reached.x - to.x, reached.y - to.y};
}

constexpr int32_t rowsAtOnce = 32;
constexpr double notCompared = -1;

/** The distances of some rows; `notCompared` outside a view, NaN where the whole has no truth. */
std::vector<double> distancesFrom(const LensComparison& comparison, int32_t first) {
    const CoordinateMap& map = comparison.map;
    const double missing = isWhole(comparison.view) ? NAN : notCompared;
    std::vector<double> distances;
    for (int32_t row = first; row < std::min(first + rowsAtOnce, map.rows); ++row) {
        for (int32_t col = 0; col < map.cols; ++col) {
            const std::optional<Point> error = errorAt(comparison, row, col);
            distances.push_back(error ? std::sqrt(error->x * error->x + error->y * error->y)
                                      : missing);
        }
    }
    return distances;
}

/** All distances: computed side by side, but added up in order, so that the sums stay the same. */
Statistics statisticsOf(const LensComparison& comparison) {
    const CoordinateMap& map = comparison.map;
    const std::size_t threads = std::max(1U, std::thread::hardware_concurrency());
    std::deque<std::future<std::vector<double>>> ahead;
    Distances all;
    int32_t next = 0;
    for (int32_t first = 0; first < map.rows; first += rowsAtOnce) {
        for (; next < map.rows && ahead.size() < 2 * threads; next += rowsAtOnce) {
            ahead.push_back(
                std::async([&comparison, next] { return distancesFrom(comparison, next); }));
        }
        const std::vector<double> distances = ahead.front().get();
        ahead.pop_front();
        for (std::size_t i = 0; i < distances.size(); ++i) {
            if (distances[i] != notCompared) {
                const auto at = static_cast<int32_t>(i);
                add(all, distances[i], atPixel(at % map.cols, first + at / map.cols));
            }
        }
    }
    return statisticsOf(all);
}

/** The distance that half of all do not exceed. */
double medianOf(std::vector<double> distances) {
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle;
}

}  // namespace

MapErrors errorsFromLens(const CoordinateMap& map, const Camera& camera, const LensView& view,
                         Direction direction) {
    const LensComparison comparison = {map, camera, view, direction};
    MapErrors errors = {direction, statisticsOf(comparison), {}};
    const int32_t step = std::max(1, std::max(camera.width, camera.height) / 36);
    for (int32_t row = (camera.height - 1) % step / 2; row < camera.height; row += step) {
        for (int32_t col = (camera.width - 1) % step / 2; col < camera.width; col += step) {
            if (const std::optional<Point> error = errorAt(comparison, row, col)) {
                errors.residuals.push_back({atPixel(col, row), *error, true});
            }
        }
    }
    return errors;
}

MapErrors errorsFromPoints(const CoordinateMap& map, const std::vector<PointPair>& pairs,
                           const std::vector<std::size_t>& used,
                           const std::vector<std::size_t>& leftOut, Direction direction) {
    MapErrors errors = {direction, {}, {}};
    Distances all;
    const auto take = [&](std::size_t i, bool isUsed) {
        const bool undistorts = direction == Direction::undistort;
        const Point from = undistorts ? pairs[i].straight : pairs[i].recorded;
        const Point to = undistorts ? pairs[i].recorded : pairs[i].straight;
        if (!isInside(map, from.x, from.y)) {
            return;
        }
        const Point reached = mapped(map, from);
        const Point error = {reached.x - to.x, reached.y - to.y};
        errors.residuals.push_back({from, error, isUsed});
        if (isUsed) {
            add(all, std::hypot(error.x, error.y), from);
        }
    };
    for (const std::size_t i : used) {
        take(i, true);
    }
    for (const std::size_t i : leftOut) {
        take(i, false);
    }
    errors.distances = statisticsOf(all);
    return errors;
}

std::string numbersOf(const MapErrors& errors) {
    const Statistics& distances = errors.distances;
    return format("root mean square %.6f, 95 %% below %.6f, largest %.6f pixels at (%.0f, %.0f)",
                  distances.rootMeanSquare, distances.percentile95, distances.largest,
                  distances.place.x, distances.place.y);
}

std::string describe(const MapErrors& errors, const std::string& what) {
    return format("%-9s %s: %s", nameOf(errors.direction).c_str(), what.c_str(),
                  numbersOf(errors).c_str());
}

void refuseFarFromLens(const MapErrors& errors, double tolerance, const std::string& alternative) {
    const Statistics& distances = errors.distances;
    if (distances.lost > 0) {
        throw Failure("lens", "no model of this size follows it",
                      "check its coefficients and focal lengths");
    }
    if (distances.largest > tolerance) {
        throw Failure("lens",
                      format("the best %s model is %.3f pixels off at (%.0f, %.0f), root mean "
                             "square %.3f",
                             nameOf(errors.direction).c_str(), distances.largest, distances.place.x,
                             distances.place.y, distances.rootMeanSquare),
                      format("allow that with --tolerance (now %g)", tolerance) + alternative);
    }
}

void refuseFarFromPoints(const MapErrors& errors, double tolerance) {
    const Statistics& distances = errors.distances;
    if (distances.lost > 0 || distances.rootMeanSquare > tolerance) {
        throw Failure("points",
                      format("the %s map is %.3f pixels off them in root mean square, at worst "
                             "%.3f at (%.0f, %.0f)",
                             nameOf(errors.direction).c_str(), distances.rootMeanSquare,
                             distances.largest, distances.place.x, distances.place.y),
                      format("allow that with --tolerance (now %g)", tolerance));
    }
}

void refuseContradiction(const std::vector<PointPair>& pairs, const Camera& camera,
                         const Lens& lens, const std::string& origin) {
    const auto medianBetween = [&](const auto& from, const auto& to) {
        std::vector<double> distances;
        for (const PointPair& pair : pairs) {
            const Point reached = from(pair);
            const Point place = to(pair);
            distances.push_back(std::hypot(reached.x - place.x, reached.y - place.y));
        }
        return medianOf(std::move(distances));
    };
    const auto straight = [](const PointPair& pair) { return pair.straight; };
    const auto recorded = [](const PointPair& pair) { return pair.recorded; };
    const auto bent = [&](const auto& place) {
        return [&](const PointPair& pair) {
            return inPixels(camera, distorted(lens, normalised(camera, place(pair))));
        };
    };
    const double asGiven = medianBetween(bent(straight), recorded);
    const double exchanged = medianBetween(bent(recorded), straight);
    const double unbent = medianBetween(straight, recorded);
    // A lens so weak that noise hides it contradicts nothing.
    constexpr double clear = 1.5;
    if (asGiven > clear * std::min(exchanged, unbent)) {
        throw Failure(
            "points",
            format("half of them are more than %.2f pixels from where the lens of ", asGiven) +
                origin + format(" takes them, %.2f with exchanged columns", exchanged),
            "write straight column, straight row, recorded column, recorded row, or give --width, "
            "--fx and so on instead of --main");
    }
}

Bend bendOf(const CoordinateMap& undistortion, const Camera& camera, const LensView* view) {
    Bend bend = {0, {0, 0}};
    for (const Point pixel : pixelsOver(camera, 64)) {
        const Point place = {std::floor(pixel.x), std::floor(pixel.y)};
        if (view == nullptr || angleOf(normalised(camera, place)) <= view->angle) {
            add(bend, camera, place,
                valueOf(undistortion, static_cast<int32_t>(place.y),
                        static_cast<int32_t>(place.x)));
        }
    }
    return bend;
}
