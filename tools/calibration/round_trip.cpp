#include "calibration/round_trip.h"

#include <cmath>

#include "calibration/evaluation.h"

RoundTrip roundTripOf(const Image& image) {
    constexpr int steps = 32;
    const Camera camera = mainCameraOf(image);
    const Evaluation undistortion(image, Direction::undistort);
    const Evaluation distortion(image, Direction::distort);
    RoundTrip result{};
    const auto visit = [&](Direction first, Point start) {
        const bool undistorts = first == Direction::undistort;
        const auto there = (undistorts ? undistortion : distortion).at(start);
        if (!there || !(there->x >= 0 && there->x <= camera.width - 1 && there->y >= 0 &&
                        there->y <= camera.height - 1)) {
            return;
        }
        const auto back = (undistorts ? distortion : undistortion).at(*there);
        const double distance = back ? std::hypot(back->x - start.x, back->y - start.y) : NAN;
        ++result.compared;
        if (!(distance <= result.largest)) {
            result.largest = distance;
            result.place = start;
            result.first = first;
        }
    };
    for (int row = 0; row <= steps; ++row) {
        for (int col = 0; col <= steps; ++col) {
            const Point start = {static_cast<double>(camera.width - 1) * col / steps,
                                 static_cast<double>(camera.height - 1) * row / steps};
            visit(Direction::undistort, start);
            visit(Direction::distort, start);
        }
    }
    return result;
}
