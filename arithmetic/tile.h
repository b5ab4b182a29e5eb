/**
 * Tiles: the shape in which a product reads its right factor.
 *
 * A tile is `tileWidth` neighbouring columns of the right factor, the terms of the sums one after
 * the other, with zeros for columns beyond the last one. Before the terms stands a row that says
 * which of them are not zero in every column. The sums of a tile stay in registers from their first
 * term to their last; vectors run along the columns and never along a sum, so every element is
 *
 *     0.0 + left[0] right[0] + left[1] right[1] + ...
 *
 * in ascending order, each product and each sum rounded once.
 */
#ifndef CALIBMAP_ARITHMETIC_TILE_H
#define CALIBMAP_ARITHMETIC_TILE_H

#include "arithmetic/lanes.h"

namespace calibmap {

/** Columns of a tile: one cache line of doubles. */
inline constexpr int32_t tileWidth = 8;

/** Terms of a sum from `first` to before `end`. */
struct TermRange {
    int32_t first;
    int32_t end;
};

/** Doubles of a tile with `terms` terms: a row for its range, then the terms. */
constexpr int64_t tileSize(int32_t terms) {
    return (int64_t{terms} + 1) * tileWidth;
}

/** The range of terms of a tile that are not zero in every column. */
inline TermRange nonZeroTerms(const double* tile) {
    return {static_cast<int32_t>(tile[0]), static_cast<int32_t>(tile[1])};
}

/**
 * Packs `width` columns, 1 to `tileWidth`, of a right factor whose element of term i and column c
 * is source[i * termStride + c * colStride].
 */
void packTile(const double* source, int64_t termStride, int64_t colStride, int32_t terms,
              int32_t width, double* tile);

/**
 * The terms of a tile that have to be summed. Where every left factor is finite, leading and
 * trailing terms whose right factors are all zero are left out: they add +0.0 or -0.0 to a sum that
 * is never -0.0 (it starts at +0.0, and rounding to nearest gives -0.0 only to a sum of two
 * negative zeros), which changes no bit. An infinite or NaN left factor makes NaN of a zero, so
 * there all terms are summed.
 */
inline TermRange termsToSum(bool leftIsFinite, const double* tile, int32_t terms) {
    return leftIsFinite ? nonZeroTerms(tile) : TermRange{0, terms};
}

/** The sums of one tile for some rows of the left factor. */
template <int Rows, int Count>
using Sums = Vector<Count>[Rows][tileWidth / Count];

/** Adds the terms of `range` to the sums of `Rows` rows of the left factor. */
template <int Rows, int Count>
CALIBMAP_KERNEL inline void addTerms(const double* left, int64_t leftStride, const double* tile,
                                     TermRange range, Sums<Rows, Count>& sums) {
    constexpr int vectors = tileWidth / Count;
    for (int32_t i = range.first; i < range.end; ++i) {
        Vector<Count> right[vectors];
        for (int v = 0; v < vectors; ++v) {
            load<Count>(tile + tileSize(i) + int64_t{v} * Count, right[v]);
        }
        for (int r = 0; r < Rows; ++r) {
            for (int v = 0; v < vectors; ++v) {
                sums[r][v] += left[r * leftStride + i] * right[v];
            }
        }
    }
}

/**
 * Takes one tile through `rows` rows, some at a time: eight sums in flight hide the latency of an
 * addition and fit every register file. `step` gets the number of rows as a type and the first row.
 */
template <int Count, typename Step>
CALIBMAP_KERNEL inline void forRowGroups(Lanes<Count> /*lanes*/, int32_t rows, Step step) {
    constexpr int sumsInFlight = 8;
    constexpr int group = sumsInFlight * Count / tileWidth;
    int32_t row = 0;
    for (; row + group <= rows; row += group) {
        step(std::integral_constant<int, group>{}, row);
    }
    for (; row < rows; ++row) {
        step(std::integral_constant<int, 1>{}, row);
    }
}

}  // namespace calibmap

#endif
