#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inspection/image.h"
#include "inspection/point.h"
#include "inspection/statistics.h"

/** Told, now and then, how much of a long piece of work is done, from 0 to 1; may be empty. */
using Reached = std::function<void(double part)>;

/** A map as the library delivers it to a camera: rows x cols floats each, row-major. */
struct CoordinateMap {
    int32_t rows;
    int32_t cols;
    int32_t ratio;
    std::vector<float> x;
    std::vector<float> y;

    /** Where element (row, col) stands in `x` and `y`. */
    [[nodiscard]] std::size_t index(int32_t row, int32_t col) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(cols) +
               static_cast<std::size_t>(col);
    }
};

/** Why there is no map, and what to do about it. */
struct Refusal {
    std::string reason;
    std::string remedy;
};

/** Why the library should not even be asked for a map: it refuses, or no map can be right. */
std::optional<Refusal> obstacleToMap(const Image& image, Direction direction, int32_t ratio);

/** Why the library has refused, with this status, a map to which there was no obstacle. */
Refusal refusalOfMap(const Image& image, Direction direction, int32_t ratio, int32_t status);

/** The centre of a sample, along either axis, in pixels. */
double pixelOfSample(const CoordinateMap& map, double sample);

/** Where the map takes a pixel, in pixels; between samples and half a sample beyond them, linearly.
 */
Point mapped(const CoordinateMap& map, Point pixel);

/** Where something takes pixels, in pixels. */
using Mapping = std::function<Point(Point pixel)>;

/** The same for all pixels, as long as the map lives. */
Mapping mappingOf(const CoordinateMap& map);

/** How far, in pixels, the map moves one sample. */
double displacementAt(const CoordinateMap& map, int32_t row, int32_t col);

/** True when a position in samples lies on the area that the samples of the map cover. */
bool isInside(const CoordinateMap& map, double x, double y);

/** How far a map moves its samples. */
struct Displacement {
    Statistics moved;
    std::size_t outside; /**< samples that are taken to a place outside the image */
};

/** The displacements of all samples. */
Displacement displacementOf(const CoordinateMap& map, const Reached& reached = nullptr);

/** For people: "480 rows x 640 columns, displacement at most ..." */
std::string sentenceOf(const CoordinateMap& map, const Displacement& displacement);
