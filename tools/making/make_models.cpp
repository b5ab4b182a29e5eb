#include "making/make_models.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "failure.h"
#include "inspection/interpolation.h"
#include "inspection/text.h"
#include "making/fit_points.h"
#include "making/producer.h"
#include "maps.h"
#include "progress.h"

namespace {

/** Where a map takes a place between pixels, in pixels. */
Point mappedBy(const CoordinateMap& map, Point pixel) {
    const auto along = [&](const std::vector<float>& values) {
        return interpolated(map.rows, map.cols, pixel.x, pixel.y, [&](int32_t row, int32_t col) {
            return static_cast<double>(values[map.index(row, col)]);
        });
    };
    return {along(map.x), along(map.y)};
}

/** What the map leaves of each point; the deviation counts those that were used. */
std::vector<Residual> pointResiduals(const CoordinateMap& map, const PointFit& fit,
                                     const std::vector<PointPair>& pairs, Direction direction,
                                     Deviation& deviation) {
    std::vector<Residual> residuals;
    DeviationSum sum;
    const auto take = [&](std::size_t i, bool isUsed) {
        const Point from = sourceOf(pairs[i], direction);
        const Point to = destinationOf(pairs[i], direction);
        if (!isInside(map, from.x, from.y)) {
            return;
        }
        const Point reached = mappedBy(map, from);
        residuals.push_back({from, {reached.x - to.x, reached.y - to.y}, isUsed});
        if (isUsed) {
            sum.add(std::hypot(reached.x - to.x, reached.y - to.y), from);
        }
    };
    for (const std::size_t i : fit.used) {
        take(i, true);
    }
    for (const std::size_t i : fit.leftOut) {
        take(i, false);
    }
    deviation = sum.result();
    return residuals;
}

/** The map's errors against the lens at places spread over the image. */
std::vector<Residual> lensResiduals(const CoordinateMap& map, const Camera& camera,
                                    const View& view, Direction direction) {
    const int32_t step = std::max(1, std::max(camera.width, camera.height) / 36);
    std::vector<Residual> residuals;
    for (int32_t row = (camera.height - 1) % step / 2; row < camera.height; row += step) {
        for (int32_t col = (camera.width - 1) % step / 2; col < camera.width; col += step) {
            const Point pixel = {static_cast<double>(col), static_cast<double>(row)};
            if (const auto truth = truthAt(view, direction, normalised(camera, pixel))) {
                const Point to = inPixels(camera, *truth);
                const std::size_t i = map.index(row, col);
                residuals.push_back({pixel, {map.x[i] - to.x, map.y[i] - to.y}, true});
            }
        }
    }
    return residuals;
}

void refusePoorPoints(const MakeReport& report) {
    for (const auto& [direction, deviation] : report.fits) {
        if (!(deviation.rootMeanSquare <= report.tolerance)) {
            throw Failure("points",
                          format("the %s map is %.3f pixels off them in root mean square, at worst "
                                 "%.3f at (%.0f, %.0f)",
                                 nameOf(direction).c_str(), deviation.rootMeanSquare,
                                 deviation.largest, deviation.place.x, deviation.place.y),
                          format("allow that with --tolerance (now %g)", report.tolerance));
        }
    }
}

}  // namespace

void storeModels(const FitSource& source, Image& image, MakeReport& report) {
    const Progress progress("fitting the models");
    ModelPair models{};
    if (!source.pairs.empty()) {
        report.points = fitPoints(report.camera, source.pairs);
        models = report.points->models;
    } else {
        refuseUnfittable(report.camera, *source.view);
        models = fitView(report.camera, *source.view);
    }
    storeModel(image, Direction::undistort, models.undistortion);
    storeModel(image, Direction::distort, models.distortion);
}

std::vector<ResidualPanel> compareMaps(const FitSource& source, const Image& image,
                                       MakeReport& report) {
    std::vector<ResidualPanel> panels;
    for (const Direction direction : {Direction::undistort, Direction::distort}) {
        const CoordinateMap map = computeMap(report.file, image, direction, 1);
        Deviation deviation{};
        std::vector<Residual> residuals;
        if (report.points) {
            residuals = pointResiduals(map, *report.points, source.pairs, direction, deviation);
        } else {
            deviation = deviationFromLens(map, report.camera, *source.view, direction);
            residuals = lensResiduals(map, report.camera, *source.view, direction);
        }
        report.fits.push_back({direction, deviation});
        panels.push_back({format("%s: rms %.3f, largest %.3f pixels", nameOf(direction).c_str(),
                                 deviation.rootMeanSquare, deviation.largest),
                          std::move(residuals)});
    }
    return panels;
}

void refusePoorModels(const MakeReport& report) {
    if (report.points) {
        refusePoorPoints(report);
    } else {
        for (const auto& [direction, deviation] : report.fits) {
            refusePoorFit(direction, deviation, report.tolerance,
                          " or fit less of the view with --max-angle");
        }
    }
}
