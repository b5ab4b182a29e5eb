#include "arithmetic/maps.h"

#include <algorithm>
#include <bit>

#include "arithmetic/divisor.h"
#include "arithmetic/elementwise.h"
#include "arithmetic/tile.h"

namespace calibmap {

namespace {

/**
 * Rows that are taken through all panels before the next ones: few enough for their pages, in two
 * maps, to stay in the first-level TLB, and enough to pay for reading the panels again.
 */
constexpr int32_t bandRows = 16;

/** Elements between the place that is written and the one that is fetched for writing: 8 panels. */
constexpr int32_t prefetchDistance = 8 * panelWidth;

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
    Element* elements;
};

template <int Rows, int Count>
CALIBMAP_KERNEL inline void finishSums(const Finish& finish, Sums<Rows, Count>& sums) {
    if (finish.isPlain) {
        forSums<Rows, Count>(sums, [&](auto& s, int, int)
                                       CALIBMAP_KERNEL { s = s * finish.factor + finish.offset; });
    } else if (finish.divisor.multiplies) {
        forSums<Rows, Count>(sums, [&](auto& s, int, int) CALIBMAP_KERNEL {
            s = ((s * finish.factor + finish.offset) + finish.shift) * finish.divisor.reciprocal;
        });
    } else {
        forSums<Rows, Count>(sums, [&](auto& s, int, int) CALIBMAP_KERNEL {
            s = ((s * finish.factor + finish.offset) + finish.shift) / finish.divisor.value;
        });
    }
}

/** One panel of a map for some rows, from `row` and `col` on. */
template <int Rows, int Count, typename Element>
CALIBMAP_KERNEL inline void computeMicroTile(const MapShape& shape, const MapInMaking<Element>& map,
                                             const double* panel, TermRange range, int32_t row,
                                             int32_t col) {
    Sums<Rows, Count> sums;
    clearSums<Rows, Count>(sums);
    addTerms<Rows, Count>(map.left + int64_t{row} * shape.terms, shape.terms, panel, range, sums);
    finishSums<Rows, Count>(map.finish, sums);
    Element* to = map.elements + int64_t{row} * shape.cols + col;
    // Ahead of where the rows of a band are written: more of them than the processor itself
    // follows.
    const int32_t width = shape.cols - col;
    const int32_t ahead = std::min(prefetchDistance, width - 1);
    for (int r = 0; r < Rows; ++r) {
        __builtin_prefetch(to + int64_t{r} * shape.cols + ahead, 1);
    }
    storeSums<Rows, Count>(sums, to, shape.cols, width);
}

/** Takes one map through one panel of columns, for a band of rows. */
template <int Count, typename Element>
CALIBMAP_KERNEL inline void computeBand(Lanes<Count> lanes, const MapShape& shape,
                                        const MapInMaking<Element>& map, int32_t band, int32_t rows,
                                        int32_t col) {
    const double* panel = shape.panels + col / panelWidth * panelSize(shape.terms);
    const TermRange range = termsToSum(map.leftIsFinite, panel, shape.terms);
    forMicroTiles(lanes, rows, [&](auto tileRows, int32_t row) CALIBMAP_KERNEL {
        computeMicroTile<decltype(tileRows)::value, Count>(shape, map, panel, range, band + row,
                                                           col);
    });
}

template <typename Element>
MapInMaking<Element> start(const MapShape& shape, const Map<Element>& map) {
    return {map.left, allFinite(map.left, int64_t{shape.rows} * shape.terms),
            makeFinish(map.scaling), map.elements};
}

}  // namespace

int64_t panelsSize(int32_t terms, int32_t cols) {
    return (int64_t{cols} + panelWidth - 1) / panelWidth * panelSize(terms);
}

void packTransposed(const double* a, int32_t terms, int32_t cols, double* panels) {
    for (int32_t col = 0; col < cols; col += panelWidth) {
        packPanel(a + int64_t{col} * terms, 1, terms, terms, std::min(panelWidth, cols - col),
                  panels + col / panelWidth * panelSize(terms));
    }
}

template <typename Element>
void computeMaps(const MapShape& shape, const Map<Element>* maps, int32_t count) {
    MapInMaking<Element> making[mostMaps];
    for (int32_t i = 0; i < count; ++i) {
        making[i] = start(shape, maps[i]);
    }
    run([&](auto lanes) CALIBMAP_KERNEL {
        forPanels(shape.rows, shape.cols, bandRows,
                  [&](int32_t band, int32_t rows, int32_t col) CALIBMAP_KERNEL {
                      for (int32_t i = 0; i < count; ++i) {
                          computeBand(lanes, shape, making[i], band, rows, col);
                      }
                  });
    });
}

template void computeMaps(const MapShape& shape, const Map<double>* maps, int32_t count);
template void computeMaps(const MapShape& shape, const Map<float>* maps, int32_t count);

}  // namespace calibmap
