#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "calibration/image.h"

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
    double mean;         /**< pixels */
    std::size_t outside; /**< samples that are taken to a place outside the image */
};

/**
 * The map that the library computes from a verified file image. `path` names the file in the
 * `Failure` that is thrown when the library refuses the model or the image size.
 */
CoordinateMap computeMap(const std::string& path, const Image& image, Direction direction,
                         int32_t ratio);

/** How far, in pixels, the map moves one sample. */
double displacementAt(const CoordinateMap& map, int32_t row, int32_t col);

/** The displacements of all samples in three numbers. */
Displacement displacementOf(const CoordinateMap& map);

/** True when a position in samples lies on the area that the samples of the map cover. */
bool isInside(const CoordinateMap& map, double x, double y);
