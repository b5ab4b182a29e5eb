#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "calibration/image.h"
#include "lens/point.h"

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

/** How far a map moves its samples. */
struct Displacement {
    double largest;      /**< pixels */
    Point place;         /**< of the largest: the centre of its sample, in pixels */
    double mean;         /**< pixels */
    std::size_t outside; /**< samples that are taken to a place outside the image */
    std::size_t lost;    /**< samples that are taken to no place at all; no number counts them */
};

/** Why there is no map, and what to do about it. */
struct Refusal {
    std::string reason;
    std::string remedy;
};

/** Makes the map of ratio 1 and drops it; what it returns says why that has failed. */
std::optional<Refusal> refusalOfMap(const Image& image, Direction direction);

/**
 * The map that the library computes from a verified file image. `path` names the file: in the
 * `Failure` that is thrown when the map cannot be right or the library refuses it, and in a warning
 * when the break points leave out a part of the image.
 */
CoordinateMap computeMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio);

/** The centre of a sample, along either axis, in pixels. */
double pixelOfSample(const CoordinateMap& map, double sample);

/** How far, in pixels, the map moves one sample. */
double displacementAt(const CoordinateMap& map, int32_t row, int32_t col);

/** The displacements of all samples in three numbers. */
Displacement displacementOf(const CoordinateMap& map);

/** True when a position in samples lies on the area that the samples of the map cover. */
bool isInside(const CoordinateMap& map, double x, double y);
