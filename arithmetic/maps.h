/**
 * Maps from products: the last two steps of a map, the product of a left factor with the panels of
 * the right one and the way back from its elements to sample coordinates, in one pass.
 */
#ifndef CALIBMAP_ARITHMETIC_MAPS_H
#define CALIBMAP_ARITHMETIC_MAPS_H

#include <stdint.h>

namespace calibmap {

/** The steps from an element of the product to a coordinate; the divisor is not zero. */
struct Scaling {
    double factor;
    double offset;
    double shift;
    double divisor;
};

/** One map: its left factor (rows x terms, row-major), how its elements are scaled, and where to.
 */
template <typename Element>
struct Map {
    const double* left;
    Scaling scaling;
    Element* elements;
};

/** Doubles that the panels of a right factor of `terms` rows and `cols` columns take. */
int64_t panelsSize(int32_t terms, int32_t cols);

/** Packs the transpose of `a` (cols x terms, row-major) as right factor (terms x cols). */
void packTransposed(const double* a, int32_t terms, int32_t cols, double* panels);

/** The shape of maps (rows x cols) and the right factor that they share, as panels. */
struct MapShape {
    int32_t rows;
    int32_t cols;
    int32_t terms;
    const double* panels;
};

/** Maps that are computed together at most. */
inline constexpr int32_t mostMaps = 2;

/**
 * Computes `count` maps, row-major: (((s * factor) + offset) + shift) / divisor for each element s
 * of the product of left factor and panels, each operation rounded once. As floats, each is rounded
 * to the nearest one, ties to even, in the end.
 */
template <typename Element>
void computeMaps(const MapShape& shape, const Map<Element>* maps, int32_t count);

}  // namespace calibmap

#endif
