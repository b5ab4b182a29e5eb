#include "arithmetic/maps.h"

#include <algorithm>
#include <bit>

#include "arithmetic/divisor.h"
#include "arithmetic/elementwise.h"
#include "arithmetic/tile.h"

namespace calibmap {

namespace {

/**
 * Rows that are taken through all tiles before the next ones: few enough for their pages, in two
 * maps, to stay in the first-level TLB, and enough to pay for reading the tiles again.
 */
constexpr int32_t bandRows = 16;

/** Elements between the place that is written and the one that is fetched for writing: 8 tiles. */
constexpr int32_t prefetchDistance = 8 * tileWidth;

/** How the sums of a map become coordinates, decided once for a map. */
struct Finish {
    double factor;
    double offset;
    double shift;
    Divisor divisor;
    bool isPlain; /**< shift and division change nothing */
};

/**
 * With a ratio of one the shift is +0.0 and the divisor 1.0. A number divided by 1.0 is itself, and
 * a number plus +0.0 is itself unless it is -0.0. That a sum p + offset is only where both are, so
 * not where the offset is anything else.
 */
Finish makeFinish(const Scaling& scaling) {
    const auto isPositiveZero = [](double v) { return std::bit_cast<uint64_t>(v) == 0; };
    const auto isNegativeZero = [](double v) {
        return v == 0.0 && std::bit_cast<uint64_t>(v) != 0;
    };
    return {
        scaling.factor, scaling.offset, scaling.shift, makeDivisor(scaling.divisor),
        isPositiveZero(scaling.shift) && scaling.divisor == 1.0 && !isNegativeZero(scaling.offset)};
}

/** One map in the making. */
template <typename Element>
struct MapInMaking {
    const double* left;
    bool leftIsFinite;
    Finish finish;
    Element* map;
};

/** Applies `operation` to each vector of sums; unrolled, or GCC keeps the sums in memory. */
template <int Rows, int Count, typename Operation>
CALIBMAP_KERNEL inline void forSums(Sums<Rows, Count>& sums, Operation operation) {
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r) {
#pragma GCC unroll 8
        for (int v = 0; v < tileWidth / Count; ++v) {
            operation(sums[r][v]);
        }
    }
}

template <int Rows, int Count>
CALIBMAP_KERNEL inline void finishSums(const Finish& finish, Sums<Rows, Count>& sums) {
    if (finish.isPlain) {
        forSums<Rows, Count>(
            sums, [&](auto& s) CALIBMAP_KERNEL { s = s * finish.factor + finish.offset; });
    } else if (finish.divisor.multiplies) {
        forSums<Rows, Count>(sums, [&](auto& s) CALIBMAP_KERNEL {
            s = ((s * finish.factor + finish.offset) + finish.shift) * finish.divisor.reciprocal;
        });
    } else {
        forSums<Rows, Count>(sums, [&](auto& s) CALIBMAP_KERNEL {
            s = ((s * finish.factor + finish.offset) + finish.shift) / finish.divisor.value;
        });
    }
}

/** Stores the sums of a tile as rows of `stride` elements. */
template <int Rows, int Count, typename Element>
CALIBMAP_KERNEL inline void storeSums(const Sums<Rows, Count>& sums, Element* to, int64_t stride) {
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r) {
#pragma GCC unroll 8
        for (int v = 0; v < tileWidth / Count; ++v) {
            store<Count>(sums[r][v], to + r * stride + int64_t{v} * Count);
        }
    }
}

/** One tile of a map for some rows, from `row` and `col` on. */
template <int Rows, int Count, typename Element>
CALIBMAP_KERNEL inline void computeTile(const MapShape& shape, const MapInMaking<Element>& making,
                                        const double* tile, TermRange range, int32_t row,
                                        int32_t col) {
    Sums<Rows, Count> sums = {};
    addTerms<Rows, Count>(making.left + int64_t{row} * shape.terms, shape.terms, tile, range, sums);
    finishSums<Rows, Count>(making.finish, sums);
    Element* to = making.map + int64_t{row} * shape.cols + col;
    // Ahead of where the rows of a band are written: more of them than the processor itself
    // follows.
    for (int r = 0; r < Rows; ++r) {
        __builtin_prefetch(to + int64_t{r} * shape.cols + prefetchDistance, 1);
    }
    const int32_t width = shape.cols - col;
    if (width >= tileWidth) {
        storeSums<Rows, Count>(sums, to, shape.cols);
        return;
    }
    Element edge[Rows * tileWidth];
    storeSums<Rows, Count>(sums, edge, tileWidth);
    for (int r = 0; r < Rows; ++r) {
        std::copy_n(edge + int64_t{r} * tileWidth, width, to + int64_t{r} * shape.cols);
    }
}

/** Takes one map through one tile of columns, for a band of rows. */
template <int Count, typename Element>
CALIBMAP_KERNEL inline void computeBand(Lanes<Count> lanes, const MapShape& shape,
                                        const MapInMaking<Element>& making, const double* tile,
                                        int32_t band, int32_t col) {
    const TermRange range = termsToSum(making.leftIsFinite, tile, shape.terms);
    forRowGroups(
        lanes, std::min(bandRows, shape.rows - band), [&](auto group, int32_t row) CALIBMAP_KERNEL {
            computeTile<decltype(group)::value, Count>(shape, making, tile, range, band + row, col);
        });
}

template <typename Element>
MapInMaking<Element> start(const MapShape& shape, const MapFactor& factor, Element* map) {
    const bool isFinite = allFinite(factor.left, int64_t{shape.rows} * shape.terms);
    return {factor.left, isFinite, makeFinish(factor.scaling), map};
}

/** The maps, band after band of rows, tile after tile within each. */
template <typename Element, typename... Makings>
void computeTogether(const MapShape& shape, const Makings&... makings) {
    const int64_t size = tileSize(shape.terms);
    run([&](auto lanes) CALIBMAP_KERNEL {
        for (int32_t band = 0; band < shape.rows; band += bandRows) {
            for (int32_t col = 0; col < shape.cols; col += tileWidth) {
                const double* tile = shape.tiles + col / tileWidth * size;
                (computeBand<decltype(lanes)::value, Element>(lanes, shape, makings, tile, band,
                                                              col),
                 ...);
            }
        }
    });
}

template <typename Element>
void compute(const MapShape& shape, const MapFactor& x, const MapFactor& y, Element* mapX,
             Element* mapY) {
    if (mapX != nullptr && mapY != nullptr) {
        computeTogether<Element>(shape, start(shape, x, mapX), start(shape, y, mapY));
    } else if (mapX != nullptr) {
        computeTogether<Element>(shape, start(shape, x, mapX));
    } else {
        computeTogether<Element>(shape, start(shape, y, mapY));
    }
}

}  // namespace

int64_t tilesSize(int32_t terms, int32_t cols) {
    return (int64_t{cols} + tileWidth - 1) / tileWidth * tileSize(terms);
}

void packTransposed(const double* a, int32_t terms, int32_t cols, double* tiles) {
    for (int32_t col = 0; col < cols; col += tileWidth) {
        packTile(a + int64_t{col} * terms, 1, terms, terms, std::min(tileWidth, cols - col),
                 tiles + col / tileWidth * tileSize(terms));
    }
}

void computeMaps(const MapShape& shape, const MapFactor& x, const MapFactor& y, double* mapX,
                 double* mapY) {
    compute(shape, x, y, mapX, mapY);
}

void computeMaps(const MapShape& shape, const MapFactor& x, const MapFactor& y, float* mapX,
                 float* mapY) {
    compute(shape, x, y, mapX, mapY);
}

}  // namespace calibmap
